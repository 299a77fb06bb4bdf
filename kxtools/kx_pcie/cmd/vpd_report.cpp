// Product data of the function, as the kernel reads it.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "common/plural.h"
#include "common/unique_fd.h"
#include "device/sysfs.h"
#include "kx_pcie/pcie_lock.h"
#include "reports.h"
#include "vpd.h"

namespace {

// The capability's addresses from here on are commands of the tunnel to card memory: never read as product data.
constexpr size_t PRODUCT_DATA_END = 0x1000;

// No more than the list needs: the kernel fetches every dword from the card.
size_t product_data_read(kxpcie_target& target, const char* path, std::array<uint8_t, PRODUCT_DATA_END>* bytes) {
  const kx_unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
  if (!fd) {
    KXPCIE_FAIL(target, "open file %s failed: %s", path, strerror(errno));
    return 0;
  }
  size_t length = 0;
  for (size_t needed = 1; length < needed && length < bytes->size();) {
    const size_t want = std::min(needed, bytes->size()) - length;
    const ssize_t got = read(fd.get(), bytes->data() + length, want);
    if (got < 0) {
      KXPCIE_FAIL(target, "reading %s failed: %s", path, strerror(errno));
    }
    if (got <= 0) {
      break;
    }
    length += static_cast<size_t>(got);
    needed = kxpcie_vpd_length(std::span(bytes->data(), length));
  }
  return length;
}

}  // namespace

void kxpcie_vpd_dump(FILE* out, kxpcie_target& target) {
  std::array<uint8_t, PRODUCT_DATA_END> bytes = {};
  size_t length = 0;
  {
    // The kernel uses the capability that the tunnel uses.
    pcie_lock lock;
    if (target.check(lock.take())) {
      length = product_data_read(target, kxtools_function_path(target.sbdf(), "vpd").c_str(), &bytes);
    }
  }
  if (!target.good()) {
    return;
  }
  switch (kxpcie_vpd_write(out, std::span(bytes.data(), length))) {
    case kxpcie_vpd_end::whole:
      return;
    case kxpcie_vpd_end::cut:
      KXPCIE_FAIL(target, "product data ends after %zu byte%s without its end tag", length, kx_plural(length));
      return;
    case kxpcie_vpd_end::malformed:
      KXPCIE_FAIL(target, "product data is malformed");
      return;
  }
}
