// The function's BARs: list, words, dump.
#include <cinttypes>

#include "actions.h"
#include "bar.h"
#include "common/report.h"
#include "dump.h"
#include "reports.h"

namespace {

constexpr uint64_t WORDS_MAX = 1024;  // of a list on the screen
constexpr uint64_t OFFSET_MAX = INT64_MAX;

bool place_read(kxpcie_words words, uint32_t* index, uint64_t* offset) {
  uint64_t number = 0;
  if (!kxpcie_number_read(words[0], "BAR", KXPCIE_BARS - 1, &number) ||
      !kxpcie_number_read(words[1], "offset", OFFSET_MAX, offset)) {
    return false;
  }
  *index = static_cast<uint32_t>(number);
  return true;
}

const char* kind_text(const kxpcie_bar& bar) {
  if (bar.io) {
    return "I/O";
  }
  return bar.is_64_bit ? "memory, 64 bit" : "memory, 32 bit";
}

}  // namespace

int32_t kxpcie_bar_list(FILE* out, kxtools_sbdf sbdf) {
  fprintf(out, "BAR  address             size        kind\n");
  for (uint32_t i = 0; i < KXPCIE_BARS; ++i) {
    kxpcie_bar bar = {};
    if (kxpcie_bar_get(sbdf, i, &bar) != 0) {
      return -1;
    }
    if (bar.present) {
      fprintf(out, "%-3u  0x%016" PRIx64 "  0x%08" PRIx64 "  %s%s\n", i, bar.address, bar.size, kind_text(bar),
              bar.prefetchable ? ", prefetchable" : "");
    }
  }
  return 0;
}

int32_t kxpcie_bar_read(kxtools_sbdf sbdf, kxpcie_words words) {
  uint32_t index = 0;
  uint64_t offset = 0;
  uint64_t count = 1;
  kxpcie_bar_window window;
  if (!place_read(words, &index, &offset) ||
      (words.size() > 2 && !kxpcie_number_read(words[2], "number of words", WORDS_MAX, &count)) ||
      window.open(sbdf, index, offset, count * 4, false) != 0) {
    return -1;
  }
  for (uint64_t i = 0; i < count; ++i) {
    kx_print("BAR %u 0x%08" PRIx64 ": 0x%08" PRIx32 "\n", index, offset + 4 * i,
             kx_mmio_read32(window.region(), 4 * i));
  }
  return 0;
}

int32_t kxpcie_bar_write(kxtools_sbdf sbdf, kxpcie_words words) {
  const bool verifies = kxpcie_verify_take(&words);
  uint32_t index = 0;
  uint64_t offset = 0;
  uint32_t value = 0;
  kxpcie_bar_window window;
  if (!place_read(words, &index, &offset) || !kxpcie_value_read(words[2], &value) ||
      window.open(sbdf, index, offset, sizeof value, true) != 0) {
    return -1;
  }
  kx_mmio_write32(window.region(), 0, value);
  if (!verifies) {  // not read back: reading some registers changes them
    kx_print("BAR %u 0x%08" PRIx64 ": 0x%08" PRIx32 " written\n", index, offset, value);
    return 0;
  }
  const uint32_t after = kx_mmio_read32(window.region(), 0);
  kx_print("BAR %u 0x%08" PRIx64 ": 0x%08" PRIx32 " written, reads 0x%08" PRIx32 "\n", index, offset, value, after);
  if (after != value) {
    KXTOOLS_ERR("BAR %u 0x%08" PRIx64 " does not hold what was written\n", index, offset);
    return -1;
  }
  return 0;
}

int32_t kxpcie_bar_dump(kxtools_sbdf sbdf, kxpcie_words words) {
  uint32_t index = 0;
  uint64_t offset = 0;
  uint64_t bytes = 0;
  kxpcie_bar_window window;
  if (!place_read(words, &index, &offset) || !kxpcie_number_read(words[2], "length", OFFSET_MAX, &bytes)) {
    return -1;
  }
  if (bytes == 0) {
    KXTOOLS_ERR("length 0 is nothing to dump\n");
    return -1;
  }
  if (window.open(sbdf, index, offset, bytes, false) != 0) {
    return -1;
  }
  const kx_mmio_region& region = window.region();
  return kxpcie_dump_save(words.size() > 3 ? words[3] : nullptr, offset, bytes / 4,
                          [&region, offset](uint64_t at, uint32_t* value) {
                            *value = kx_mmio_read32(region, at - offset);
                            return 0;
                          });
}
