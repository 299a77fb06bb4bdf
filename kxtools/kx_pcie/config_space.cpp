#include "kx_pcie/config_space.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "common/little_endian.h"
#include "common/report.h"
#include "common/signals.h"
#include "common/unique_fd.h"
#include "device/sysfs.h"
#include "kx_pcie/capability_walk.h"
#include "kx_pcie/card_lock.h"

namespace {

constexpr uint32_t ALL_ONES = 0xFFFFFFFF;
constexpr uint64_t BAR_FLAG_BITS = 0xF;

bool is_in_config_space(uint32_t offset, uint32_t length) {
  return length <= PCIE_CFG_SIZE && offset <= PCIE_CFG_SIZE - length;
}

int32_t checked_rw(kxtools_sbdf sbdf, bool write, uint32_t offset, uint32_t length, void* buffer, const char* caller) {
  if (buffer == nullptr) {
    kx_print("[pcie] Input point is NULL!\n");
    return -1;
  }
  if (pcie_cfg_rw(sbdf, write, offset, length, buffer) != 0) {
    kx_print("[pcie] reg 0x%x, %s failed!\n", offset, caller);
    return -1;
  }
  return 0;
}

// Both dwords of a 64-bit BAR.
bool dwords_read(kxtools_sbdf sbdf, uint32_t offset, uint64_t* value) {
  uint32_t low = 0;
  uint32_t high = 0;
  const bool read = pcie_cfg_read_dword(sbdf, offset, &low) == 0 && pcie_cfg_read_dword(sbdf, offset + 4, &high) == 0;
  *value = uint64_t{high} << 32 | low;
  return read;
}

bool dwords_write(kxtools_sbdf sbdf, uint32_t offset, uint64_t value) {
  const bool low = pcie_cfg_write_dword(sbdf, offset, static_cast<uint32_t>(value)) == 0;
  return pcie_cfg_write_dword(sbdf, offset + 4, static_cast<uint32_t>(value >> 32)) == 0 && low;
}

// Probing writes all ones over a BAR. Whatever happens in between, an interrupt from the keyboard included, the saved
// dwords go back. Another tool that probed meanwhile would save the ones.
class bar_probe {
 public:
  bar_probe(kxtools_sbdf sbdf, uint32_t offset) : sbdf_(sbdf), offset_(offset) {}
  bar_probe(const bar_probe&) = delete;
  bar_probe& operator=(const bar_probe&) = delete;
  ~bar_probe() {
    if (saved_) {
      dwords_write(sbdf_, offset_, former_);
    }
  }

  bool read_back(uint64_t* value) {
    saved_ = lock_.take() && dwords_read(sbdf_, offset_, &former_);
    return saved_ && dwords_write(sbdf_, offset_, UINT64_MAX) && dwords_read(sbdf_, offset_, value);
  }

 private:
  card_lock lock_;
  kx_signal_hold hold_;
  kxtools_sbdf sbdf_;
  uint32_t offset_;
  uint64_t former_ = 0;
  bool saved_ = false;
};

}  // namespace

int32_t pcie_cfg_rw(kxtools_sbdf sbdf, bool write, uint32_t offset, uint32_t length, void* buffer) {
  if (!is_in_config_space(offset, length)) {
    kx_print("[PCIe] pci rw:%d, reg 0x%x, length %u is outside of the configuration space!\n", write, offset, length);
    return -1;
  }
  char file[64];
  const int written = snprintf(file, sizeof file, "%s/%s/config", KXTOOLS_PCI_DEVICES, kxtools_sbdf_text(sbdf).text);
  if (written < 0 || static_cast<size_t>(written) >= sizeof file) {
    kx_print("create filename failed\n");
    return -1;
  }
  kx_unique_fd fd(open(file, O_RDWR | O_CLOEXEC));
  if (!fd && !write) {
    fd.reset(open(file, O_RDONLY | O_CLOEXEC));  // all that the kernel lets an ordinary user do
  }
  if (!fd) {
    kx_print("[PCIe] open file:%s failed, fd:%d!\n", file, fd.get());
    return -1;
  }
  const off_t position = lseek(fd.get(), offset, SEEK_SET);
  if (position < 0) {
    kx_print("[PCIe] lseek pci failed, res:%d!\n", static_cast<int>(position));
    return -1;
  }
  const ssize_t moved = write ? ::write(fd.get(), buffer, length) : read(fd.get(), buffer, length);
  if (moved < 0) {
    kx_print("[PCIe] pci rw:%d failed, res:%d!\n", write, static_cast<int>(moved));
    return -1;
  }
  return 0;
}

int32_t pcie_cfg_read(kxtools_sbdf sbdf, uint32_t offset, uint32_t length, void* buffer) {
  return checked_rw(sbdf, false, offset, length, buffer, __func__);
}

int32_t pcie_cfg_write(kxtools_sbdf sbdf, uint32_t offset, uint32_t length, const void* buffer) {
  // pcie_cfg_rw only reads the buffer of a write.
  return checked_rw(sbdf, true, offset, length, const_cast<void*>(buffer), __func__);
}

int32_t pcie_cfg_read_dword(kxtools_sbdf sbdf, uint32_t offset, uint32_t* value) {
  std::array<uint8_t, 4> bytes = {0xFF, 0xFF, 0xFF, 0xFF};
  if (pcie_cfg_read(sbdf, offset, bytes.size(), value == nullptr ? nullptr : bytes.data()) != 0) {
    return -1;
  }
  *value = kx_le_get<uint32_t>(bytes);
  return 0;
}

int32_t pcie_cfg_write_dword(kxtools_sbdf sbdf, uint32_t offset, uint32_t value) {
  std::array<uint8_t, 4> bytes = {};
  kx_le_put(bytes, 0, value);
  return pcie_cfg_write(sbdf, offset, bytes.size(), bytes.data());
}

int32_t pcie_cfg_write_mask(kxtools_sbdf sbdf, uint32_t offset, uint32_t value, uint32_t mask) {
  uint32_t old = 0;
  card_lock lock;
  if (!lock.take() || pcie_cfg_read_dword(sbdf, offset, &old) != 0) {
    return -1;
  }
  return pcie_cfg_write_dword(sbdf, offset, (old & ~mask) | (value & mask));
}

int32_t pcie_function_answers(kxtools_sbdf sbdf, bool* answers) {
  uint32_t value = ALL_ONES;
  const int32_t result = pcie_cfg_read_dword(sbdf, PCI_COMMAND, &value);
  *answers = !pcie_is_silence(value);
  return result;
}

int32_t pcie_find_capability(kxtools_sbdf sbdf, uint8_t id) {
  const pcie_walk_result found = pcie_capability_walk(
      pcie_capability_list::standard,
      [sbdf](uint32_t offset, uint32_t* value) { return pcie_cfg_read_dword(sbdf, offset, value); },
      [id](uint32_t, uint32_t header) { return (header & 0xFF) == id ? 1 : 0; });
  switch (found.end) {
    case pcie_walk_end::found:
      return static_cast<int32_t>(found.offset);
    case pcie_walk_end::no_list:
      kx_print("cap_id_addr invalid\n");
      return -1;
    case pcie_walk_end::end:
      kx_print("pcie cap[0x%X] not find\n", id);
      return -1;
    case pcie_walk_end::failed:
      break;
  }
  return -1;
}

int32_t pcie_find_ext_capability(kxtools_sbdf sbdf, uint16_t id, uint16_t vsec_id) {
  const pcie_walk_result found = pcie_ext_capability_walk(
      [sbdf](uint32_t offset, uint32_t* value) { return pcie_cfg_read_dword(sbdf, offset, value); }, id, vsec_id);
  return found.end == pcie_walk_end::found ? static_cast<int32_t>(found.offset) : -1;
}

uint64_t get_bar_addr(kxtools_sbdf sbdf, uint32_t offset) {
  uint64_t value = 0;
  return dwords_read(sbdf, offset, &value) ? value & ~BAR_FLAG_BITS : 0;
}

uint64_t get_bar_size(kxtools_sbdf sbdf, uint32_t offset) {
  uint64_t value = 0;
  bar_probe probe(sbdf, offset);
  if (!probe.read_back(&value)) {
    return 0;
  }
  return ~(value & ~BAR_FLAG_BITS) + 1;
}
