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
void range_check(kxpcie_target& target, uint64_t start, uint64_t bytes, uint64_t end) {
  if (start % 4 != 0 || bytes % 4 != 0) {
    KXPCIE_FAIL(target, "0x%" PRIx64 " and the length of 0x%" PRIx64 " bytes must be multiples of 4", start, bytes);
  } else if (bytes == 0 || start > end || bytes > end - start) {
    KXPCIE_FAIL(target, "0x%" PRIx64 " bytes at 0x%" PRIx64 " do not lie below 0x%" PRIx64, bytes, start, end);
  }
}

void words_show(kxpcie_target& target, uint64_t address, uint64_t count, const kxpcie_word_reader& read) {
  for (uint64_t i = 0; i < count && target.good(); ++i) {
    uint32_t value = 0;
    if (target.check(read(address + 4 * i, &value))) {
      kx_print("0x%010" PRIx64 ": 0x%08" PRIx32 "\n", address + 4 * i, value);
    }
  }
}

using controller_reader = int32_t (*)(uint32_t ep_no, uint32_t offset, uint32_t* value);

void controller_show(kxpcie_target& target, kxpcie_words words, uint64_t size, controller_reader read) {
  const auto controller = static_cast<uint32_t>(kxpcie_number(target, words, 0, "controller", CONTROLLER_MAX));
  const uint64_t offset = kxpcie_number(target, words, 1, "offset", size - 1);
  const uint64_t count = kxpcie_number_or(target, words, 2, "number of words", WORDS_MAX, 1);
  range_check(target, offset, count * 4, size);
  words_show(target, offset, count, [controller, read](uint64_t at, uint32_t* value) {
    return read(controller, static_cast<uint32_t>(at), value);
  });
}

uint64_t address_read(kxpcie_target& target, kxpcie_words words) {
  return kxpcie_number(target, words, 0, "address", ADDRESS_END - 1);
}

}  // namespace

void kxpcie_devmem(kxpcie_target& target, kxpcie_words words) {
  const uint64_t address = address_read(target, words);
  const uint64_t count = kxpcie_number_or(target, words, 1, "number of words", WORDS_MAX, 1);
  range_check(target, address, count * 4, ADDRESS_END);
  words_show(target, address, count, read_val_from_kx);
}

void kxpcie_devmem_write(kxpcie_target& target, kxpcie_words words) {
  const bool verifies = kxpcie_verify_take(&words);
  const uint64_t address = address_read(target, words);
  const uint32_t value = kxpcie_value(target, words, 1);
  const bool masked = words.size() > 2;
  const uint32_t mask = masked ? kxpcie_value(target, words, 2) : UINT32_MAX;
  range_check(target, address, 4, ADDRESS_END);
  if (!target.good() ||
      !target.check(masked ? write_mask_to_kx(address, value, mask) : write_val_to_kx(address, value))) {
    return;
  }
  if (!verifies) {
    kx_print("0x%010" PRIx64 ": 0x%08" PRIx32 " written under mask 0x%08" PRIx32 "\n", address, value, mask);
    return;
  }
  uint32_t after = 0;
  if (read_val_from_kx(address, &after) != 0) {
    KXPCIE_FAIL(target, "0x%010" PRIx64 " was written, but cannot be read back", address);
    return;
  }
  kx_print("0x%010" PRIx64 ": 0x%08" PRIx32 " written under mask 0x%08" PRIx32 ", reads 0x%08" PRIx32 "\n", address,
           value, mask, after);
  if (((after ^ value) & mask) != 0) {
    KXPCIE_FAIL(target, "0x%010" PRIx64 " does not hold what was written", address);
  }
}

void kxpcie_addr_dump(kxpcie_target& target, kxpcie_words words) {
  const uint64_t address = address_read(target, words);
  const uint64_t bytes = kxpcie_number(target, words, 1, "length", DUMP_MAX);
  range_check(target, address, bytes, ADDRESS_END);
  kxpcie_dump_save(target, words.size() > 2 ? words[2] : nullptr, address, bytes / 4, read_val_from_kx);
}

void kxpcie_dbi_read(kxpcie_target& target, kxpcie_words words) {
  controller_show(target, words, DBI_SIZE, pcie_dbi_read);
}

void kxpcie_csr_read(kxpcie_target& target, kxpcie_words words) {
  controller_show(target, words, CSR_SIZE, pcie_csr_read);
}

void kxpcie_tunnel_mode(kxpcie_target& target, kxpcie_words words) {
  const bool access = !words.empty() && strcmp(words[0], "access") == 0;
  if (!words.empty()) {
    if (!access && strcmp(words[0], "secure") != 0) {
      KXPCIE_FAIL(target, "%s is neither access nor secure", words[0]);
      kx_unknown_word_print("word of tunnel_mode", words[0], std::array{"access", "secure"});
      return;
    }
    if (words.size() < 2) {
      KXPCIE_FAIL(target, "%s needs a value", words[0]);
      return;
    }
    const auto value = static_cast<uint32_t>(kxpcie_number(target, words, 1, words[0], access ? ACCESS_MODE_MAX : 1));
    if (!target.good()) {
      return;
    }
    if (!access) {
      set_secure_mode(value);
    } else if (!target.check(set_wr_mode(value))) {
      return;
    }
  }
  kx_print("access mode %" PRIu32 "%s\nsecure mode %s\n", get_wr_mode(),
           get_wr_mode() == 0 ? " (addresses are checked)" : "", get_secure_mode() == 1 ? "on" : "off");
}
