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

int32_t word_read(uint64_t address, const kxpcie_word_reader& read, uint32_t* value) {
  if (kx_signal_guard::raised() != 0) {
    KXTOOLS_ERR("interrupted at 0x%" PRIx64 "\n", address);
    return -1;
  }
  return read(address, value);
}

int32_t rows_write(FILE* out, uint64_t address, uint64_t words, const kxpcie_word_reader& read,
                   kx_progress_bar* progress) {
  const kx_signal_guard guard;
  uint32_t row[ROW_WORDS] = {};
  for (uint64_t done = 0; done < words;) {
    const uint64_t start = address + done * 4;
    uint32_t count = 0;
    int32_t result = 0;
    while (count < ROW_WORDS && done < words) {
      result = word_read(address + done * 4, read, &row[count]);
      if (result != 0) {
        break;
      }
      ++count;
      ++done;
    }
    if (count > 0) {
      row_write(out, start, row, count);
    }
    if (result != 0 || ferror(out) != 0) {
      return result != 0 ? result : -1;  // a file's commit says why it failed, the process's end for standard output
    }
    if (progress != nullptr) {
      progress->update(done);
    }
  }
  return 0;
}

}  // namespace

int32_t kxpcie_dump_write(FILE* out, uint64_t address, uint64_t words, const kxpcie_word_reader& read) {
  return rows_write(out, address, words, read, nullptr);
}

int32_t kxpcie_dump_save(const char* name, uint64_t address, uint64_t words, const kxpcie_word_reader& read) {
  if (name == nullptr) {
    return kxpcie_dump_write(stdout, address, words, read);
  }
  const kx_signal_guard guard;  // a signal takes effect when the file is gone
  kx_result_file file;
  if (!file.open(name)) {
    KXTOOLS_ERR("cannot make %s: %s\n", name, strerror(errno));
    return -1;
  }
  {
    kx_progress_bar progress("dump", words);
    const int32_t result = rows_write(file.stream(), address, words, read, &progress);
    if (result != 0 && ferror(file.stream()) == 0) {
      return result;
    }
  }
  if (!file.commit()) {
    KXTOOLS_ERR("cannot write %s: %s\n", name, strerror(errno));
    return -1;
  }
  kx_print("%" PRIu64 " bytes from 0x%010" PRIx64 " written to %s\n", words * 4, address, name);
  return 0;
}
