// "regsdump": everything that the units describe, into a file.
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <iterator>

#include "common/clock.h"
#include "common/progress_bar.h"
#include "common/report.h"
#include "common/result_file.h"
#include "common/signals.h"
#include "registers/registers.h"
#include "startup/words.h"
#include "units.h"

namespace {

/// A dump under way.
struct dump {
  FILE* stream;
  kx_progress_bar* progress;
  const kxtools_unit* unit = nullptr;
  uint32_t done = 0;
};

bool value_write(void* self, const kxtools_unit_value& value) {
  dump* d = static_cast<dump*>(self);
  fprintf(d->stream, "%s 0x%010" PRIx64 " %s %s\n", d->unit->name, value.address, unit_words_text(value.words).c_str(),
          value.name);
  d->progress->update(++d->done);
  return kx_signal_guard::raised() == 0 && ferror(d->stream) == 0;
}

void head_write(const kxtool_cmd_ctx& ctx, FILE* stream) {
  fprintf(stream,
          "# registers of %s (%s), %s\n"
          "# unit, address, value (most significant word first), name; arrays of more than %u elements are left out\n",
          ctx.device_word, ctx.device.sbdf_text, kx_utc_text().c_str(), KXTOOLS_UNIT_ARRAY_MAX);
}

/// 0, 1, or UNIT_INTERRUPTED.
int units_write(dump* d) {
  for (const kxtools_unit* unit : kxtool_units_get()) {
    d->unit = unit;
    if ((unit->open != nullptr && unit->open() != 0) ||
        unit->visit(kxtools_unit_list::registers, value_write, d) != 0) {
      KXTOOLS_ERR("%s cannot be read, nothing is kept\n", unit->name);
      return 1;
    }
    if (kx_signal_guard::raised() != 0) {
      kx_print("interrupted, nothing is kept\n");
      return UNIT_INTERRUPTED;
    }
    if (ferror(d->stream) != 0) {
      return 0;  // the file's commit says why
    }
  }
  fprintf(d->stream, "# end: %u values\n", d->done);
  return 0;
}

}  // namespace

const char kxtool_regsdump_usage[] = R"(    COMMAND:
        regsdump
    SYNOPSIS:
        kxtool regsdump <device> all --file <regsdump result file path>
    DESCRIPTION:
        Writes the described registers of the card's units into a file, one register a line: unit, address,
        value, name. Arrays of more than 64 elements (a register for each queue or virtual function) are left
        out. Counters that a read clears begin again at 0. The file gets its name when it is complete; a link
        or a special file is refused. Super user.
    OPTIONS:
        <device>    network interface of the card
        all         every unit
        --file      where to write
    EXIT STATUS:
        0 written, 1 nothing is written, 130 interrupted and nothing is written
    EXAMPLES:
        kxtool regsdump eth0 all --file /root/regs.txt)";

int kxtool_regsdump(kxtool_cmd_ctx* ctx) {
  static constexpr const char* WORDS[] = {"all", "--file", nullptr};
  if (ctx->argc != std::size(WORDS) || strcmp(ctx->argv[0], WORDS[0]) != 0 || strcmp(ctx->argv[1], WORDS[1]) != 0) {
    kx_print("%s\n", ctx->option->usage);
    kxtool_words_explain(*ctx, WORDS);
    return 1;
  }
  const char* path = ctx->argv[2];
  const kx_signal_guard guard;
  kx_result_file file;
  if (!file.open(path)) {
    KXTOOLS_ERR("cannot make %s: %s\n", path, strerror(errno));
    return 1;
  }
  if (units_device_bind(*ctx) != 0) {
    return 1;
  }
  uint32_t total = 0;
  for (const kxtools_unit* unit : kxtool_units_get()) {
    total += unit->count(kxtools_unit_list::registers);
  }
  kx_progress_bar progress("regsdump", total);
  dump d = {.stream = file.stream(), .progress = &progress};
  head_write(*ctx, d.stream);
  const int status = units_write(&d);
  if (status != 0) {
    return status;
  }
  if (!file.commit()) {
    KXTOOLS_ERR("cannot write %s: %s\n", path, strerror(errno));
    return 1;
  }
  kx_print("%u values written to %s\n", d.done, path);
  return 0;
}
