// The conversions in the texts of rows, for the generator that counts them and for the printer that fills them.
#pragma once

#include <cstdint>

/// One conversion: u, d or x with 0, -, blank and width, after ll for 64 bits.
struct dpp_row_conversion {
  static constexpr uint32_t WIDTH_MAX = 200;

  bool left = false;
  bool zero = false;
  uint32_t width = 0;
  bool wide = false;
  char letter = '\0';

  /// Reads from behind the % on; returns what follows the conversion.
  const char* read(const char* text) {
    for (; *text == '-' || *text == '0' || *text == ' '; ++text) {
      left = left || *text == '-';
      zero = zero || *text == '0';
    }
    for (; *text >= '0' && *text <= '9'; ++text) {
      width = width < WIDTH_MAX ? width * 10 + static_cast<uint32_t>(*text - '0') : WIDTH_MAX;
    }
    wide = text[0] == 'l' && text[1] == 'l';
    text += wide ? 2 : 0;
    letter = *text;
    return *text == '\0' ? text : text + 1;
  }
};
