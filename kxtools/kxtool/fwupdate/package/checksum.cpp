// The image checksum. The compiler vectorises this loop; the build gives this file the optimisation level for it.
#include "fwupdate/package.h"

uint32_t fw_checksum(std::span<const uint8_t> bytes) {
  uint32_t sum = 0;
  for (const uint8_t byte : bytes) {
    sum += byte;
  }
  return sum;
}
