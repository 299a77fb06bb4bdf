// Card memory and the controllers' register spaces, through the tunnel.
#include <array>
#include <cinttypes>
#include <cstring>

#include "actions.h"
#include "common/nearest.h"
#include "common/report.h"
#include "dump.h"
#include "kx_pcie/controller_space.h"
#include "kx_pcie/tunnel.h"

namespace {

constexpr uint64_t ADDRESS_END = uint64_t{1} << 44;
constexpr uint64_t WORDS_MAX = 1024;              // of a list on the screen
constexpr uint64_t DUMP_MAX = uint64_t{1} << 24;  // half an hour at the tunnel's speed
constexpr uint64_t CONTROLLER_MAX = 4;
constexpr uint64_t DBI_SIZE = uint64_t{1} << 32;
constexpr uint64_t CSR_SIZE = 0x4000000;
constexpr uint64_t ACCESS_MODE_MAX = 3;

// `bytes` at `start` of a space of `end` bytes, in whole words.
bool range_check(uint64_t start, uint64_t bytes, uint64_t end) {
  if (start % 4 != 0 || bytes % 4 != 0) {
    KXTOOLS_ERR("0x%" PRIx64 " and the length of 0x%" PRIx64 " bytes must be multiples of 4\n", start, bytes);
    return false;
  }
  if (bytes == 0 || start > end || bytes > end - start) {
    KXTOOLS_ERR("0x%" PRIx64 " bytes at 0x%" PRIx64 " do not lie below 0x%" PRIx64 "\n", bytes, start, end);
    return false;
  }
  return true;
}

bool count_read(kxpcie_words words, size_t index, uint64_t* count) {
  *count = 1;
  return words.size() <= index || kxpcie_number_read(words[index], "number of words", WORDS_MAX, count);
}

int32_t words_show(uint64_t address, uint64_t count, const kxpcie_word_reader& read) {
  for (uint64_t i = 0; i < count; ++i) {
    uint32_t value = 0;
    const int32_t result = read(address + 4 * i, &value);
    if (result != 0) {
      return result;
    }
    kx_print("0x%010" PRIx64 ": 0x%08" PRIx32 "\n", address + 4 * i, value);
  }
  return 0;
}

using controller_reader = int32_t (*)(uint32_t ep_no, uint32_t offset, uint32_t* value);

int32_t controller_show(kxpcie_words words, uint64_t size, controller_reader read) {
  uint64_t controller = 0;
  uint64_t offset = 0;
  uint64_t count = 0;
  if (!kxpcie_number_read(words[0], "controller", CONTROLLER_MAX, &controller) ||
      !kxpcie_number_read(words[1], "offset", size - 1, &offset) || !count_read(words, 2, &count) ||
      !range_check(offset, count * 4, size)) {
    return -1;
  }
  return words_show(offset, count, [controller, read](uint64_t at, uint32_t* value) {
    return read(static_cast<uint32_t>(controller), static_cast<uint32_t>(at), value);
  });
}

}  // namespace

int32_t kxpcie_devmem(kxtools_sbdf, kxpcie_words words) {
  uint64_t address = 0;
  uint64_t count = 0;
  if (!kxpcie_number_read(words[0], "address", ADDRESS_END - 1, &address) || !count_read(words, 1, &count) ||
      !range_check(address, count * 4, ADDRESS_END)) {
    return -1;
  }
  return words_show(address, count, read_val_from_kx);
}

int32_t kxpcie_devmem_write(kxtools_sbdf, kxpcie_words words) {
  const bool verifies = kxpcie_verify_take(&words);
  uint64_t address = 0;
  uint32_t value = 0;
  uint32_t mask = UINT32_MAX;
  if (!kxpcie_number_read(words[0], "address", ADDRESS_END - 1, &address) || !kxpcie_value_read(words[1], &value) ||
      (words.size() > 2 && !kxpcie_value_read(words[2], &mask)) || !range_check(address, 4, ADDRESS_END)) {
    return -1;
  }
  const int32_t result = words.size() > 2 ? write_mask_to_kx(address, value, mask) : write_val_to_kx(address, value);
  if (result != 0) {
    return result;
  }
  if (!verifies) {
    kx_print("0x%010" PRIx64 ": 0x%08" PRIx32 " written under mask 0x%08" PRIx32 "\n", address, value, mask);
    return 0;
  }
  uint32_t after = 0;
  if (read_val_from_kx(address, &after) != 0) {
    KXTOOLS_ERR("0x%010" PRIx64 " was written, but cannot be read back\n", address);
    return -1;
  }
  kx_print("0x%010" PRIx64 ": 0x%08" PRIx32 " written under mask 0x%08" PRIx32 ", reads 0x%08" PRIx32 "\n", address,
           value, mask, after);
  if (((after ^ value) & mask) != 0) {
    KXTOOLS_ERR("0x%010" PRIx64 " does not hold what was written\n", address);
    return -1;
  }
  return 0;
}

int32_t kxpcie_addr_dump(kxtools_sbdf, kxpcie_words words) {
  uint64_t address = 0;
  uint64_t bytes = 0;
  if (!kxpcie_number_read(words[0], "address", ADDRESS_END - 1, &address) ||
      !kxpcie_number_read(words[1], "length", DUMP_MAX, &bytes) || !range_check(address, bytes, ADDRESS_END)) {
    return -1;
  }
  return kxpcie_dump_save(words.size() > 2 ? words[2] : nullptr, address, bytes / 4, read_val_from_kx);
}

int32_t kxpcie_dbi_read(kxtools_sbdf, kxpcie_words words) {
  return controller_show(words, DBI_SIZE, pcie_dbi_read);
}

int32_t kxpcie_csr_read(kxtools_sbdf, kxpcie_words words) {
  return controller_show(words, CSR_SIZE, pcie_csr_read);
}

int32_t kxpcie_tunnel_mode(kxtools_sbdf, kxpcie_words words) {
  if (!words.empty()) {
    const bool access = strcmp(words[0], "access") == 0;
    if (!access && strcmp(words[0], "secure") != 0) {
      KXTOOLS_ERR("%s is neither access nor secure\n", words[0]);
      kx_unknown_word_print("word of tunnel_mode", words[0], std::array{"access", "secure"});
      return -1;
    }
    uint64_t value = 0;
    if (words.size() < 2) {
      KXTOOLS_ERR("%s needs a value\n", words[0]);
      return -1;
    }
    if (!kxpcie_number_read(words[1], words[0], access ? ACCESS_MODE_MAX : 1, &value)) {
      return -1;
    }
    if (!access) {
      set_secure_mode(static_cast<uint32_t>(value));
    } else if (set_wr_mode(static_cast<uint32_t>(value)) != 0) {
      return -1;
    }
  }
  kx_print("access mode %" PRIu32 "%s\nsecure mode %s\n", get_wr_mode(),
           get_wr_mode() == 0 ? " (addresses are checked)" : "", get_secure_mode() == 1 ? "on" : "off");
  return 0;
}
