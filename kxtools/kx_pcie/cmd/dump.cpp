#include "dump.h"

#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "common/printable.h"
#include "common/progress_bar.h"
#include "common/report.h"
#include "common/result_file.h"
#include "common/signals.h"

namespace {

constexpr uint32_t ROW_WORDS = 4;

void row_write(FILE* out, uint64_t address, const uint32_t* row, uint32_t count) {
  char text[ROW_WORDS * 4 + 1] = "";
  fprintf(out, "%010" PRIx64 " ", address);
  for (uint32_t i = 0; i < ROW_WORDS; ++i) {
    if (i >= count) {
      fprintf(out, "         ");
      continue;
    }
    fprintf(out, " %08" PRIx32, row[i]);
    for (uint32_t byte = 0; byte < 4; ++byte) {
      const char c = static_cast<char>(row[i] >> (8 * byte));
      text[i * 4 + byte] = kx_is_printable(c) ? c : '.';
    }
  }
  fprintf(out, "  |%s|\n", text);
}

bool word_read(kxpcie_target& target, uint64_t address, const kxpcie_word_reader& read, uint32_t* value) {
  if (kx_signal_guard::raised() != 0) {
    KXPCIE_FAIL(target, "interrupted at 0x%" PRIx64, address);
  }
  return target.good() && target.check(read(address, value));
}

void rows_write(FILE* out, kxpcie_target& target, uint64_t address, uint64_t words, const kxpcie_word_reader& read,
                kx_progress_bar* progress) {
  const kx_signal_guard guard;
  uint32_t row[ROW_WORDS] = {};
  for (uint64_t done = 0; done < words && target.good() && ferror(out) == 0;) {
    const uint64_t start = address + done * 4;
    uint32_t count = 0;
    while (count < ROW_WORDS && done < words && word_read(target, address + done * 4, read, &row[count])) {
      ++count;
      ++done;
    }
    if (count > 0) {
      row_write(out, start, row, count);
    }
    if (progress != nullptr && target.good()) {
      progress->update(done);
    }
  }
}

}  // namespace

void kxpcie_dump_write(FILE* out, kxpcie_target& target, uint64_t address, uint64_t words,
                       const kxpcie_word_reader& read) {
  rows_write(out, target, address, words, read, nullptr);
  target.check(ferror(out) == 0);  // a file's commit says why it failed, the process's end for standard output
}

void kxpcie_dump_save(kxpcie_target& target, const char* name, uint64_t address, uint64_t words,
                      const kxpcie_word_reader& read) {
  if (name == nullptr || !target.good()) {
    kxpcie_dump_write(stdout, target, address, words, read);
    return;
  }
  const kx_signal_guard guard;  // a signal takes effect when the file is gone
  kx_result_file file;
  if (!file.open(name)) {
    KXPCIE_FAIL(target, "cannot make %s: %s", name, strerror(errno));
    return;
  }
  {
    kx_progress_bar progress("dump", words);
    rows_write(file.stream(), target, address, words, read, &progress);
  }
  if (!target.good()) {
    return;
  }
  if (!file.commit()) {
    KXPCIE_FAIL(target, "cannot write %s: %s", name, strerror(errno));
    return;
  }
  kx_print("%" PRIu64 " bytes from 0x%010" PRIx64 " written to %s\n", words * 4, address, name);
}
