#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "dpp_row.h"
#include "dpp_row_conversion.h"

namespace {

/// Text that grows up to the end of its buffer.
class out_text {
 public:
  out_text(char* at, uint32_t size) : at_(at), left_(size - 1) {}
  void put(const char* text, size_t length) {
    const size_t fits = length < left_ ? length : left_;
    memcpy(at_, text, fits);
    at_ += fits;
    left_ -= fits;
  }
  void end() {
    *at_ = '\0';
  }

 private:
  char* at_;
  size_t left_;
};

void number_put(out_text& out, const dpp_row_conversion& how, uint64_t value) {
  char digits[32];
  if (!how.wide) {
    value &= UINT32_MAX;
  }
  int length;
  if (how.letter == 'x') {
    length = snprintf(digits, sizeof digits, "%" PRIx64, value);
  } else if (how.letter == 'd') {
    const int64_t narrow = static_cast<int32_t>(static_cast<uint32_t>(value));
    length = snprintf(digits, sizeof digits, "%" PRId64, how.wide ? static_cast<int64_t>(value) : narrow);
  } else {
    length = snprintf(digits, sizeof digits, "%" PRIu64, value);
  }
  const bool zero = how.zero && !how.left;
  const char* number = digits;
  if (zero && *number == '-') {
    out.put(number++, 1);
  }
  for (uint32_t i = static_cast<uint32_t>(length); !how.left && i < how.width; ++i) {
    out.put(zero ? "0" : " ", 1);
  }
  out.put(number, strlen(number));
  for (uint32_t i = static_cast<uint32_t>(length); how.left && i < how.width; ++i) {
    out.put(" ", 1);
  }
}

}  // namespace

void dpp_row_format(char* out, uint32_t size, const char* text, std::span<const uint64_t> values) {
  out_text made(out, size);
  size_t used = 0;
  while (*text != '\0') {
    const size_t plain = strcspn(text, "%");
    made.put(text, plain);
    text += plain;
    if (*text == '\0') {
      break;
    }
    if (text[1] == '%') {
      made.put(text, 1);
      text += 2;
      continue;
    }
    dpp_row_conversion how;
    text = how.read(text + 1);
    number_put(made, how, used < values.size() ? values[used] : 0);
    ++used;
  }
  made.end();
}
