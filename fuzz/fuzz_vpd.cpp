// Product data as any bytes: it is walked and printed without leaving the bytes, and the walk always asks for more or
// is at its end.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "vpd.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static FILE* const nowhere = fopen("/dev/null", "we");
  // Exactly as long as said, so that a byte read behind it is seen.
  const std::vector<uint8_t> exact(data, data + size);
  const size_t needed = kxpcie_vpd_length(exact);
  if (needed == 0 || (kxpcie_vpd_write(nowhere, exact) == kxpcie_vpd_end::whole && needed > size)) {
    abort();
  }
  return 0;
}
