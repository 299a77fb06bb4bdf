// What the kernel's files and the user say about devices: "resource" and "uevent" lines, PCI addresses, the index. The
// first byte chooses the reader.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dev_choice.h"
#include "device/address.h"
#include "device/interfaces.h"
#include "device/sysfs.h"

namespace {

int file_fd = -1;
std::string file_path;

void require(bool condition) {
  if (!condition) {
    abort();
  }
}

void file_fill(const std::string& text) {
  require(ftruncate(file_fd, 0) == 0);
  require(pwrite(file_fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
}

void address_read(const char* text) {
  kxtools_sbdf sbdf = 0;
  if (pcie_sbdf_parse(&sbdf, text) != 0) {
    return;
  }
  // Whatever was read has one text form, which reads back as the same address.
  kxtools_sbdf again = 0;
  require(pcie_sbdf_parse(&again, kxtools_sbdf_text(sbdf).text) == 0 && again == sbdf);
}

void index_read(const std::string& text) {
  file_fill(text);
  FILE* in = fopen(file_path.c_str(), "r");
  require(in != nullptr);
  uint32_t index = 0;
  if (kxtools_index_read(in, &index) == kxtools_index_result::index) {
    require(index <= 99999999);
  }
  fclose(in);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  file_fd = memfd_create("kernel_lines", 0);
  file_path = "/proc/self/fd/" + std::to_string(file_fd);
  return file_fd < 0 || freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 4) {
    case 0: {
      kxtools_bar_range range = {};
      file_fill(text);
      kxtools_resource_bar_read(file_path.c_str(), static_cast<uint32_t>(size % 7), &range);
      break;
    }
    case 1: {
      char slot[13];
      file_fill(text);
      if (kxtools_uevent_slot_read(file_path.c_str(), slot) == kxtools_uevent_result::found) {
        address_read(slot);
      }
      break;
    }
    case 2:
      address_read(text.c_str());
      kxtools_is_interface_name(text.c_str());
      break;
    default:
      index_read(text);
      break;
  }
  return 0;
}
