// Product data of the function, as the kernel reads it.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/plural.h"
#include "common/unique_fd.h"
#include "device/sysfs.h"
#include "kx_pcie/pcie_lock.h"
#include "kx_pcie_cmd/product_data.h"
#include "reports.h"
#include "vpd.h"

namespace {

// The capability's addresses from here on are commands of the tunnel to card memory: never read as product data.
constexpr size_t PRODUCT_DATA_END = 0x1000;

/// Why product data could not be read: the step that failed, and errno.
struct failure {
  const char* step = nullptr;
  int error = 0;
};

// No more than the list needs: the kernel fetches every dword from the card.
failure product_data_read(const char* path, std::vector<uint8_t>* bytes) {
  const kx_unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
  if (!fd) {
    return {"open file", errno};
  }
  size_t length = 0;
  bytes->resize(PRODUCT_DATA_END);
  failure failed;
  for (size_t needed = 1; length < needed && length < bytes->size();) {
    const size_t want = std::min(needed, bytes->size()) - length;
    const ssize_t got = read(fd.get(), bytes->data() + length, want);
    if (got < 0) {
      failed = {"reading", errno};
    }
    if (got <= 0) {
      break;
    }
    length += static_cast<size_t>(got);
    needed = kxpcie_vpd_length(std::span(bytes->data(), length));
  }
  bytes->resize(length);
  return failed;
}

}  // namespace

int kxpcie_product_data_ask(kxtools_sbdf sbdf, std::vector<uint8_t>* bytes) {
  pcie_lock lock;
  return lock.take() ? product_data_read(kxtools_function_path(sbdf, "vpd").c_str(), bytes).error : EBUSY;
}

void kxpcie_vpd_dump(FILE* out, kxpcie_target& target) {
  std::vector<uint8_t> bytes;
  {
    // The kernel uses the capability that the tunnel uses.
    pcie_lock lock;
    if (target.check(lock.take())) {
      const std::string path = kxtools_function_path(target.sbdf(), "vpd");
      const failure failed = product_data_read(path.c_str(), &bytes);
      if (failed.step != nullptr) {
        KXPCIE_FAIL(target, "%s %s failed: %s", failed.step, path.c_str(), strerror(failed.error));
      }
    }
  }
  if (!target.good()) {
    return;
  }
  switch (kxpcie_vpd_write(out, bytes)) {
    case kxpcie_vpd_end::whole:
      return;
    case kxpcie_vpd_end::cut:
      KXPCIE_FAIL(target, "product data ends after %zu byte%s without its end tag", bytes.size(),
                  kx_plural(bytes.size()));
      return;
    case kxpcie_vpd_end::malformed:
      KXPCIE_FAIL(target, "product data is malformed");
      return;
  }
}
