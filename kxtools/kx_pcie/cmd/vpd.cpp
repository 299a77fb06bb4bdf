#include "vpd.h"

#include <string_view>

#include "common/plural.h"
#include "common/printable.h"

namespace {

// Large resources carry a two-byte length, small ones (the end tag) have it in the tag.
constexpr uint8_t IDENTIFIER = 0x82;
constexpr uint8_t READ_ONLY = 0x90;
constexpr uint8_t READ_WRITE = 0x91;
constexpr uint8_t END = 0x78;
constexpr size_t LARGE_HEADER = 3;
constexpr size_t FIELD_HEADER = 3;

struct keyword {
  std::string_view word;
  const char* name;
};
constexpr keyword KEYWORDS[] = {
    {"PN", "part number"},   {"EC", "engineering change"}, {"FG", "fabric geography"},
    {"LC", "location"},      {"MN", "manufacture id"},     {"PG", "PCI geography"},
    {"SN", "serial number"}, {"TR", "thermal reporting"},  {"CP", "extended capability"},
    {"RV", "checksum"},      {"RW", "remaining space"},    {"YA", "asset tag"},
};

const char* keyword_name(std::string_view word) {
  for (const keyword& row : KEYWORDS) {
    if (row.word == word) {
      return row.name;
    }
  }
  if (word[0] == 'V') {
    return "vendor specific";
  }
  return word[0] == 'Y' ? "system specific" : "unknown";
}

struct resource {
  uint8_t tag;
  std::span<const uint8_t> content;
};

// The resource at the front of `bytes`. False when it is none of the standard's; `content` is cut where the bytes end.
bool resource_at(std::span<const uint8_t> bytes, resource* found, size_t* length) {
  found->tag = bytes[0];
  found->content = {};
  *length = 1;
  if (found->tag == END) {
    return true;
  }
  if (found->tag != IDENTIFIER && found->tag != READ_ONLY && found->tag != READ_WRITE) {
    return false;
  }
  *length = LARGE_HEADER;
  if (bytes.size() < LARGE_HEADER) {
    return true;
  }
  *length += static_cast<size_t>(bytes[1] | bytes[2] << 8);
  found->content =
      bytes.subspan(LARGE_HEADER).first(*length <= bytes.size() ? *length - LARGE_HEADER : bytes.size() - LARGE_HEADER);
  return true;
}

void text_write(FILE* out, std::span<const uint8_t> text) {
  const std::string_view bytes(reinterpret_cast<const char*>(text.data()), text.size());
  fprintf(out, "%s\n", kx_printable(bytes).c_str());
}

// The checksum field makes the sum of all bytes up to and including its first one 0.
bool sum_is_right(std::span<const uint8_t> bytes) {
  uint8_t sum = 0;
  for (const uint8_t byte : bytes) {
    sum = static_cast<uint8_t>(sum + byte);
  }
  return sum == 0;
}

// Fields of one resource. `whole` is the data from its beginning, which the checksum runs over.
bool fields_write(FILE* out, std::span<const uint8_t> whole, std::span<const uint8_t> fields) {
  while (fields.size() >= FIELD_HEADER) {
    const char word[] = {static_cast<char>(fields[0]), static_cast<char>(fields[1])};
    const size_t length = fields[2];
    if (length > fields.size() - FIELD_HEADER) {
      return false;
    }
    const std::span<const uint8_t> value = fields.subspan(FIELD_HEADER, length);
    const std::string_view name(word, sizeof word);
    fprintf(out, "%s  %-19s ", kx_printable(name).c_str(), keyword_name(name));
    if (name == "RV" && length > 0) {
      const size_t end = static_cast<size_t>(value.data() - whole.data()) + 1;
      fprintf(out, "%s\n", sum_is_right(whole.first(end)) ? "right" : "WRONG");
    } else if (name == "RV" || name == "RW") {
      fprintf(out, "%zu byte%s\n", length, kx_plural(length));
    } else {
      text_write(out, value);
    }
    fields = fields.subspan(FIELD_HEADER + length);
  }
  return fields.empty();
}

}  // namespace

size_t kxpcie_vpd_length(std::span<const uint8_t> bytes) {
  size_t at = 0;
  while (at < bytes.size()) {
    resource found = {};
    size_t length = 0;
    if (!resource_at(bytes.subspan(at), &found, &length)) {
      return at + 1;
    }
    at += length;
    if (found.tag == END) {
      return at;
    }
  }
  return at + 1;  // at least the next tag
}

kxpcie_vpd_end kxpcie_vpd_write(FILE* out, std::span<const uint8_t> bytes) {
  size_t at = 0;
  while (at < bytes.size()) {
    resource found = {};
    size_t length = 0;
    if (!resource_at(bytes.subspan(at), &found, &length)) {
      return kxpcie_vpd_end::malformed;
    }
    if (found.tag == END) {
      return kxpcie_vpd_end::whole;
    }
    if (length > bytes.size() - at) {
      return kxpcie_vpd_end::cut;
    }
    if (found.tag == IDENTIFIER) {
      fprintf(out, "    %-19s ", "identifier");
      text_write(out, found.content);
    } else if (!fields_write(out, bytes, found.content)) {
      return kxpcie_vpd_end::malformed;
    }
    at += length;
  }
  return kxpcie_vpd_end::cut;
}
