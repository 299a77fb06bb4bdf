// Product data of the function, as the kernel reads it.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "common/plural.h"
#include "common/report.h"
#include "common/unique_fd.h"
#include "device/sysfs.h"
#include "kx_pcie/pcie_lock.h"
#include "reports.h"
#include "vpd.h"

namespace {

// The capability's addresses from here on are commands of the tunnel to card memory: never read as product data.
constexpr size_t PRODUCT_DATA_END = 0x1000;

int32_t product_data_read(const char* path, std::array<uint8_t, PRODUCT_DATA_END>* bytes, size_t* length) {
  const kx_unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
  if (!fd) {
    KXTOOLS_ERR("open file %s failed: %s\n", path, strerror(errno));
    return -1;
  }
  // No more than the list needs: the kernel fetches every dword from the card.
  *length = 0;
  for (size_t needed = 1; *length < needed && *length < bytes->size();) {
    const size_t want = std::min(needed, bytes->size()) - *length;
    const ssize_t got = read(fd.get(), bytes->data() + *length, want);
    if (got < 0) {
      KXTOOLS_ERR("reading %s failed: %s\n", path, strerror(errno));
      return -1;
    }
    if (got == 0) {
      break;
    }
    *length += static_cast<size_t>(got);
    needed = kxpcie_vpd_length(std::span(bytes->data(), *length));
  }
  return 0;
}

}  // namespace

int32_t kxpcie_vpd_dump(FILE* out, kxtools_sbdf sbdf) {
  char function[13];
  kxtools_sbdf_text(sbdf, function);
  char path[64];
  snprintf(path, sizeof path, "%s/%s/vpd", KXTOOLS_PCI_DEVICES, function);
  std::array<uint8_t, PRODUCT_DATA_END> bytes = {};
  size_t length = 0;
  {
    // The kernel uses the capability that the tunnel uses.
    pcie_lock lock;
    if (!lock.take() || product_data_read(path, &bytes, &length) != 0) {
      return -1;
    }
  }
  switch (kxpcie_vpd_write(out, std::span(bytes.data(), length))) {
    case kxpcie_vpd_end::whole:
      return 0;
    case kxpcie_vpd_end::cut:
      KXTOOLS_ERR("product data ends after %zu byte%s without its end tag\n", length, kx_plural(length));
      return -1;
    case kxpcie_vpd_end::malformed:
      break;
  }
  KXTOOLS_ERR("product data is malformed\n");
  return -1;
}
