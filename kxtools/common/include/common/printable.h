// Bytes from outside, made safe for a terminal.
#pragma once

#include <string>
#include <string_view>

/// True for a printable ASCII character, the blank included.
constexpr bool kx_is_printable(char c) {
  return c >= ' ' && c <= '~';
}

/// `text` with `other` in place of every byte that does not print.
std::string kx_printable(std::string_view text, char other = '?');
