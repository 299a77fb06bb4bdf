// "diag" and "stat": one pass over the checks or counters of one unit or of all.
#include <array>
#include <cinttypes>
#include <cstring>
#include <string>
#include <vector>

#include "common/nearest.h"
#include "common/report.h"
#include "common/signals.h"
#include "registers/registers.h"
#include "startup/words.h"
#include "units.h"

namespace {

/// What became of one unit.
struct tally {
  uint32_t values = 0;
  uint32_t failed = 0;
  uint32_t shown = 0;
};

using values_fn = bool (*)(void* self, const kxtools_unit_value& value);

bool check_show(void* self, const kxtools_unit_value& value) {
  tally* counts = static_cast<tally*>(self);
  ++counts->values;
  counts->failed += value.good ? 0 : 1;
  kx_print("  %-4s  %-32s %s%s%s\n", value.good ? "ok" : "FAIL", value.name, unit_words_text(value.words).c_str(),
           *value.note == '\0' ? "" : "  ", value.note);
  return kx_signal_guard::raised() == 0;
}

// Hundreds of counters, most of which never move: those that are 0 are only counted.
bool counter_show(void* self, const kxtools_unit_value& value) {
  tally* counts = static_cast<tally*>(self);
  ++counts->values;
  uint64_t number = 0;
  for (const uint32_t word : value.words) {
    number = number << 32 | word;
  }
  if (number != 0) {
    ++counts->shown;
    kx_print("  %-44s %" PRIu64 "\n", value.name, number);
  }
  return kx_signal_guard::raised() == 0;
}

struct pass {
  kxtools_unit_list list;
  values_fn show;
};

/// False when the unit failed its checks or could not be read.
bool unit_run(const kxtools_unit& unit, const pass& what) {
  kx_print("%s: %s\n", unit.name, unit.title);
  tally counts;
  const bool read = (unit.open == nullptr || unit.open() == 0) && unit.visit(what.list, what.show, &counts) == 0;
  if (kx_signal_guard::raised() != 0) {
    return false;
  }
  if (!read) {
    kx_print("%s: not finished, the card cannot be read\n", unit.name);
    return false;
  }
  if (what.list == kxtools_unit_list::checks) {
    kx_print("%s: %u checks, %u failed\n", unit.name, counts.values, counts.failed);
  } else {
    kx_print("%s: %u counters, %u not 0\n", unit.name, counts.values, counts.shown);
  }
  return counts.failed == 0;
}

// "all", or a unit that has the list.
bool word_names(const char* word, const kxtools_unit& unit, kxtools_unit_list list) {
  return unit.count(list) != 0 && (strcmp(word, "all") == 0 || strcmp(word, unit.name) == 0);
}

// Checks the one word behind the device; a wrong one costs the usage and a line.
bool word_check(const kxtool_cmd_ctx& ctx, kxtools_unit_list list) {
  std::vector<const char*> names = {"all"};
  bool known = false;
  for (const kxtools_unit* unit : kxtool_units_get()) {
    if (unit->count(list) != 0) {
      names.push_back(unit->name);
      known |= ctx.argc == 1 && word_names(ctx.argv[0], *unit, list);
    }
  }
  if (known) {
    return true;
  }
  kx_print("%s\n", ctx.option->usage);
  if (ctx.argc == 1) {
    kx_unknown_word_print("unit of the card", ctx.argv[0], names);
  } else {
    kxtool_words_explain(ctx, std::array<const char*, 1>{});
  }
  return false;
}

int units_run(kxtool_cmd_ctx* ctx, const pass& what) {
  if (!word_check(*ctx, what.list)) {
    return 1;
  }
  const kx_signal_guard guard;
  if (units_device_bind(*ctx) != 0) {
    return 1;
  }
  std::string failed;
  for (const kxtools_unit* unit : kxtool_units_get()) {
    if (word_names(ctx->argv[0], *unit, what.list) && !unit_run(*unit, what)) {
      failed += std::string(" ") + unit->name;
    }
    if (kx_signal_guard::raised() != 0) {
      kx_print("%s %s: interrupted\n", ctx->name, ctx->device_word);
      return UNIT_INTERRUPTED;
    }
  }
  if (failed.empty()) {
    kx_print("%s %s: ok\n", ctx->name, ctx->device_word);
    return 0;
  }
  kx_print("%s %s: failed:%s\n", ctx->name, ctx->device_word, failed.c_str());
  return 1;
}

}  // namespace

const char kxtool_diag_usage[] = R"(    COMMAND:
        diag
    SYNOPSIS:
        kxtool diag <device> {all|vqm||pcie|np|pcsmac}
    DESCRIPTION:
        Checks the state of the card's units, one line a check, and names the units that are not as they
        should be. A unit that cannot be read has failed.
    OPTIONS:
        <device>    network interface of the card
        all         every unit
        vqm         virtio queue engine: errors and alarms
        pcie        PCIe function: link against its capability, device status, error reporting
        np          network processor: blocks that are not ready, interrupts of all blocks
        pcsmac      network ports, from the registers of the port block: interrupts, state, link
    EXIT STATUS:
        0 all is well, 1 something is not, or wrong words; 130 interrupted
    EXAMPLES:
        kxtool diag eth0 all)";

int kxtool_diag(kxtool_cmd_ctx* ctx) {
  return units_run(ctx, {kxtools_unit_list::checks, check_show});
}

const char kxtool_stat_usage[] = R"(    COMMAND:
        stat
    SYNOPSIS:
        kxtool stat <device> {all|vqm|np|pcsmac}
    DESCRIPTION:
        Shows the counters of the card's units that are not 0. Counters of the network processor's packet
        path and drop counters of ports begin again at 0 when they have been read.
    OPTIONS:
        <device>    network interface of the card
        all         every unit
        vqm         virtio queue engine
        np          network processor
        pcsmac      network ports, from the registers of the port block: packets, bytes, drops, errors
    EXIT STATUS:
        0 shown, 1 a unit cannot be read, or wrong words; 130 interrupted
    EXAMPLES:
        kxtool stat eth0 vqm)";

int kxtool_stat(kxtool_cmd_ctx* ctx) {
  return units_run(ctx, {kxtools_unit_list::counters, counter_show});
}
