// Words that several reports use.
#pragma once

#include <cstdint>

/// Text of a state: "on" or "off", "yes" or "no".
constexpr const char* kxpcie_on(uint32_t value) {
  return value != 0 ? "on" : "off";
}
constexpr const char* kxpcie_yes(uint32_t value) {
  return value != 0 ? "yes" : "no";
}
