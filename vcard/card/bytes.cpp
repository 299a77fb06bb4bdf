#include "vcard/bytes.h"

namespace vcard {

std::string hex_text(ByteView bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  if (bytes.empty()) {
    return "-";
  }
  std::string text;
  text.reserve(bytes.size() * 2);
  for (uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

namespace {

int digit_value(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

}  // namespace

std::optional<Bytes> hex_bytes(std::string_view text) {
  Bytes bytes;
  for (size_t i = 0; i < text.size();) {
    if (text[i] == ' ' || text[i] == ':') {
      ++i;
      continue;
    }
    int high = digit_value(text[i]);
    int low = i + 1 < text.size() ? digit_value(text[i + 1]) : -1;
    if (high < 0 || low < 0) {
      return std::nullopt;
    }
    bytes.push_back(static_cast<uint8_t>(high << 4 | low));
    i += 2;
  }
  return bytes;
}

}  // namespace vcard
