// Words for counts.
#pragma once

#include <cstdint>

/// What stands behind a word for `count` things: "1 image", "2 images".
inline const char* kx_plural(uint64_t count) {
  return count == 1 ? "" : "s";
}
