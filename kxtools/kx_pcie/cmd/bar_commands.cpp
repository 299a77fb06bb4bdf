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

struct bar_place {
  uint32_t index;
  uint64_t offset;
};

bar_place bar_place_read(kxpcie_target& target, kxpcie_words words) {
  return {static_cast<uint32_t>(kxpcie_number(target, words, 0, "BAR", KXPCIE_BARS - 1)),
          kxpcie_number(target, words, 1, "offset", OFFSET_MAX)};
}

const char* kind_text(const kxpcie_bar& bar) {
  if (bar.io) {
    return "I/O";
  }
  return bar.is_64_bit ? "memory, 64 bit" : "memory, 32 bit";
}

}  // namespace

void kxpcie_bar_list(FILE* out, kxpcie_target& target) {
  fprintf(out, "BAR  address             size        kind\n");
  for (uint32_t i = 0; i < KXPCIE_BARS; ++i) {
    const kxpcie_bar bar = kxpcie_bar_get(target, i);
    if (bar.present) {
      fprintf(out, "%-3u  0x%016" PRIx64 "  0x%08" PRIx64 "  %s%s\n", i, bar.address, bar.size, kind_text(bar),
              bar.prefetchable ? ", prefetchable" : "");
    }
  }
}

void kxpcie_bar_read(kxpcie_target& target, kxpcie_words words) {
  const bar_place at = bar_place_read(target, words);
  const uint64_t count = kxpcie_number_or(target, words, 2, "number of words", WORDS_MAX, 1);
  kxpcie_bar_window window;
  if (!window.open(target, at.index, at.offset, count * 4, false)) {
    return;
  }
  for (uint64_t i = 0; i < count; ++i) {
    kx_print("BAR %u 0x%08" PRIx64 ": 0x%08" PRIx32 "\n", at.index, at.offset + 4 * i,
             kx_mmio_read32(window.region(), 4 * i));
  }
}

void kxpcie_bar_write(kxpcie_target& target, kxpcie_words words) {
  const bool verifies = kxpcie_verify_take(&words);
  const bar_place at = bar_place_read(target, words);
  const uint32_t value = kxpcie_value(target, words, 2);
  kxpcie_bar_window window;
  if (!window.open(target, at.index, at.offset, sizeof value, true)) {
    return;
  }
  kx_mmio_write32(window.region(), 0, value);
  if (!verifies) {  // not read back: reading some registers changes them
    kx_print("BAR %u 0x%08" PRIx64 ": 0x%08" PRIx32 " written\n", at.index, at.offset, value);
    return;
  }
  const uint32_t after = kx_mmio_read32(window.region(), 0);
  kx_print("BAR %u 0x%08" PRIx64 ": 0x%08" PRIx32 " written, reads 0x%08" PRIx32 "\n", at.index, at.offset, value,
           after);
  if (after != value) {
    KXPCIE_FAIL(target, "BAR %u 0x%08" PRIx64 " does not hold what was written", at.index, at.offset);
  }
}

void kxpcie_bar_dump(kxpcie_target& target, kxpcie_words words) {
  const bar_place at = bar_place_read(target, words);
  const uint64_t bytes = kxpcie_number(target, words, 2, "length", OFFSET_MAX);
  if (bytes == 0) {
    KXPCIE_FAIL(target, "length 0 is nothing to dump");
  }
  kxpcie_bar_window window;
  if (!window.open(target, at.index, at.offset, bytes, false)) {
    return;
  }
  kxpcie_dump_save(target, words.size() > 3 ? words[3] : nullptr, at.offset, bytes / 4,
                   [&window, at](uint64_t place, uint32_t* value) {
                     *value = kx_mmio_read32(window.region(), place - at.offset);
                     return 0;
                   });
}
