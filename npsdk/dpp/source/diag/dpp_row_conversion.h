// The conversions in the texts of rows, for the generator that checks them and for the printer that fills them.
#pragma once

#include <cstring>

/// One conversion: u, d or x with 0, -, blank and width, after ll for 64 bits; or %.
struct dpp_row_conversion {
  bool wide = false;
  char letter = '\0';

  /// Reads from behind the % on; returns what follows the conversion.
  const char* read(const char* text) {
    text += strspn(text, "-0 ");
    text += strspn(text, "0123456789");
    wide = text[0] == 'l' && text[1] == 'l';
    text += wide ? 2 : 0;
    letter = *text;
    return *text == '\0' ? text : text + 1;
  }
};
