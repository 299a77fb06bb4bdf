#include "units.h"

#include <atomic>
#include <csignal>

#include "kxtools/dev.h"
#include "registers/registers.h"

namespace {

std::span<const kxtools_unit* const> units;

// The signal may arrive on any thread.
std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void on_interrupt(int) {
  interrupted = true;
}

}  // namespace

void kxtool_units_set(std::span<const kxtools_unit* const> list) {
  units = list;
}

std::span<const kxtools_unit* const> units_get() {
  return units;
}

const kxtools_unit* unit_find(std::string_view name) {
  for (const kxtools_unit* unit : units) {
    if (unit->name == name) {
      return unit;
    }
  }
  return nullptr;
}

int32_t units_device_bind(const kxtool_cmd_ctx& ctx) {
  struct sigaction action = {};
  action.sa_handler = on_interrupt;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  return kxtools_dev_bind(ctx.device.sbdf);
}

bool units_interrupted() {
  return interrupted;
}
