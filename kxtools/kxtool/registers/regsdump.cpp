// "regsdump": everything that the units describe, into a file.
#include <unistd.h>

#include <cinttypes>
#include <cstring>
#include <ctime>

#include "common/report.h"
#include "partial_file.h"
#include "registers/registers.h"
#include "units.h"

namespace {

constexpr const char* CLEAR_LINE = "\r\033[K";

/// A dump under way.
struct dump {
  FILE* stream;
  const kxtools_unit* unit = nullptr;
  uint32_t done = 0;
  uint32_t total = 0;
  uint32_t percent_shown = UINT32_MAX;
  bool terminal = false;
};

// One line that is redrawn, on a terminal only.
void progress_draw(dump* d) {
  const uint32_t percent = d->total == 0 ? 100 : static_cast<uint32_t>(uint64_t{d->done} * 100 / d->total);
  if (!d->terminal || percent == d->percent_shown) {
    return;
  }
  d->percent_shown = percent;
  char bar[51];
  memset(bar, '.', sizeof bar - 1);
  memset(bar, '#', percent / 2);
  bar[sizeof bar - 1] = '\0';
  kx_print("%sregsdump [%s] %3u%% %s", CLEAR_LINE, bar, percent, d->unit->name);
}

void progress_clear(const dump& d) {
  if (d.terminal) {
    kx_print("%s", CLEAR_LINE);
  }
}

bool value_write(void* self, const kxtools_unit_value& value) {
  dump* d = static_cast<dump*>(self);
  fprintf(d->stream, "%s 0x%010" PRIx64 " 0x", d->unit->name, value.address);
  for (const uint32_t word : value.words) {
    fprintf(d->stream, "%08x", word);
  }
  fprintf(d->stream, " %s\n", value.name);
  ++d->done;
  progress_draw(d);
  return !units_interrupted() && ferror(d->stream) == 0;
}

void head_write(const kxtool_cmd_ctx& ctx, FILE* stream) {
  char text[32];
  const time_t now = time(nullptr);
  struct tm utc = {};
  gmtime_r(&now, &utc);
  strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
  fprintf(stream,
          "# registers of %s (%s), %s UTC\n"
          "# unit, address, value (most significant word first), name; arrays of more than %u elements are left out\n",
          ctx.device_word, ctx.device.sbdf_text, text, KXTOOLS_UNIT_ARRAY_MAX);
}

/// 0, 1, or UNIT_INTERRUPTED.
int units_write(dump* d) {
  for (const kxtools_unit* unit : units_get()) {
    d->unit = unit;
    if ((unit->open != nullptr && unit->open() != 0) ||
        unit->visit(kxtools_unit_list::registers, value_write, d) != 0) {
      progress_clear(*d);
      KXTOOLS_ERR("%s cannot be read, nothing is kept\n", unit->name);
      return 1;
    }
    if (units_interrupted()) {
      progress_clear(*d);
      kx_print("interrupted, nothing is kept\n");
      return UNIT_INTERRUPTED;
    }
  }
  progress_clear(*d);
  fprintf(d->stream, "# end: %u values\n", d->done);
  return 0;
}

}  // namespace

int kxtool_regsdump(kxtool_cmd_ctx* ctx) {
  if (ctx->argc != 3 || strcmp(ctx->argv[0], "all") != 0 || strcmp(ctx->argv[1], "--file") != 0) {
    kx_print("%s\n", ctx->option->usage);
    return 1;
  }
  partial_file file;
  if (!file.create(ctx->argv[2])) {
    return 1;
  }
  if (units_device_bind(*ctx) != 0) {
    return 1;
  }
  dump d = {.stream = file.stream(), .terminal = isatty(STDOUT_FILENO) == 1};
  for (const kxtools_unit* unit : units_get()) {
    d.total += unit->count(kxtools_unit_list::registers);
  }
  head_write(*ctx, d.stream);
  const int status = units_write(&d);
  if (status != 0) {
    return status;
  }
  if (!file.commit()) {
    return 1;
  }
  kx_print("%u values written to %s\n", d.done, ctx->argv[2]);
  return 0;
}
