#include "units.h"

#include "common/text.h"
#include "kxtools/bind.h"
#include "registers/registers.h"

namespace {

std::span<const kxtools_unit* const> units;

}  // namespace

void kxtool_units_set(std::span<const kxtools_unit* const> list) {
  units = list;
}

std::span<const kxtools_unit* const> kxtool_units_get() {
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

std::string unit_words_text(std::span<const uint32_t> words) {
  std::string text = "0x";
  for (const uint32_t word : words) {
    text += kx_text("%08x", word);
  }
  return text;
}

int32_t units_device_bind(const kxtool_cmd_ctx& ctx) {
  return kxtools_dev_bind(ctx.device.sbdf);
}
