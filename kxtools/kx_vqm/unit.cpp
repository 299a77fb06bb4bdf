#include "kx_vqm/unit.h"

#include <cstdio>
#include <string>

#include "cmd_item.h"
#include "common/card_memory.h"
#include "kx_vqm/cmd.h"
#include "registers.h"

namespace {

// What counts; every other register is a state or a setting.
constexpr std::string_view COUNTER_LISTS =
    "trpg.rx trpg.tx host.kick_cnt_oam host.cfg_axim_cnt_oam rdesc.c_desc_cnt_oam rdesc.c_split_axim_cnt_oam "
    "rdesc.c_desc_axim_cnt_oam rdesc.req_cnt_oam rdesc.rx_cnt_oam rdesc.aximr_err_cnt_oam rdesc.desc_len_err_oam "
    "bman.cnt bman.disc bman.pkt_discard_cnt";

// Every counter is a whole register.
static_assert(vqm_registers_visit(COUNTER_LISTS, [](const kx_register_description& row) {
  return row.field_count == 1 && row.index.length == 0;
}));

/// Elements that belong to the list of all registers: 1 for a register that is in no array.
uint32_t elements(const kx_register_description& row) {
  if (row.access == kx_register_access::clear) {
    return 0;
  }
  const uint32_t number = row.index.length == 0 ? 1 : vqm_index_kind_of(row).max + 1;
  return number <= KXTOOLS_UNIT_ARRAY_MAX ? number : 0;
}

/// Calls `use` for every register and index of a list of values, until it returns false.
template <typename Use>
void for_each_value(kxtools_unit_list list, Use use) {
  const auto single = [&use](const kx_register_description& row) { return use(row, 0u); };
  switch (list) {
    case kxtools_unit_list::checks:
      vqm_registers_visit(vqm_cmd_item_find(nullptr, "check_vqm")->lists, single);
      return;
    case kxtools_unit_list::counters:
    case kxtools_unit_list::steady_counters:
      vqm_registers_visit(COUNTER_LISTS, single);
      return;
    case kxtools_unit_list::cleared:  // a read of this engine clears nothing
      return;
    case kxtools_unit_list::registers:
    case kxtools_unit_list::steady_registers:
      break;
  }
  for (const kx_register_description& row : VQM_REGISTERS.registers) {
    for (uint32_t index = 0; index < elements(row); ++index) {
      if (!use(row, index)) {
        return;
      }
    }
  }
}

// The fields that are not 0.
std::string fields_text(const kx_register_description& row, uint64_t value) {
  std::string text;
  for (const kx_field_description& field : VQM_REGISTERS.fields(row)) {
    const uint64_t part = kx_field_value(field, value);
    if (part == 0 || row.field_count == 1) {
      continue;
    }
    text += text.empty() ? "" : ", ";
    text += VQM_REGISTERS.view(field.name);
    if (field.high != field.low) {
      text += ' ';
      text += std::to_string(part);
    }
  }
  return text;
}

std::string name_text(kxtools_unit_list list, const kx_register_description& row, uint32_t index) {
  std::string text;
  if (list == kxtools_unit_list::registers || list == kxtools_unit_list::steady_registers) {
    text += VQM_REGISTERS.view(row.list);
    text += ": ";
  }
  text += VQM_REGISTERS.view(row.name);
  if (row.index.length != 0) {
    text += '[';
    text += std::to_string(index);
    text += ']';
  }
  return text;
}

uint32_t unit_count(kxtools_unit_list list) {
  uint32_t number = 0;
  for_each_value(list, [&number](const kx_register_description&, uint32_t) {
    ++number;
    return true;
  });
  return number;
}

int32_t unit_visit(kxtools_unit_list list, kxtools_unit_visitor visitor, void* self) {
  const uint32_t failures = vqm_reg_failures();
  for_each_value(list, [&](const kx_register_description& row, uint32_t index) {
    const uint64_t value = vqm_register_read(row, index);
    if (vqm_reg_failures() != failures) {
      return false;
    }
    const uint32_t words[] = {static_cast<uint32_t>(value >> 32), static_cast<uint32_t>(value)};
    const std::string name = name_text(list, row, index);
    const std::string note = fields_text(row, value);
    return visitor(self, {.name = name.c_str(),
                          .address = vqm_register_address(row, index),
                          .words = std::span(words).subspan(row.width == 64 ? 0 : 1),
                          .note = note.c_str(),
                          .good = value == 0});
  });
  return vqm_reg_failures() == failures ? 0 : -1;
}

// The engine's windows, as they lie behind each other from its own registers on.
constexpr kxtools_unit_window window_at(uint64_t address, uint64_t size) {
  return {address - KX_CARD_VQM, address, size};
}
constexpr uint64_t REGISTERS_SIZE = 0x1000000;
constexpr uint64_t GDMA_SIZE = 0x4000;
constexpr kxtools_unit_window WINDOWS[] = {
    window_at(KX_CARD_VQM, REGISTERS_SIZE),
    window_at(KX_CARD_VQM_HOST, REGISTERS_SIZE),
    window_at(KX_CARD_GDMA, GDMA_SIZE),
    window_at(KX_CARD_VQM_GDMA, GDMA_SIZE),
};

}  // namespace

constinit const kxtools_unit kxvqm_unit = {
    .name = "vqm",
    .title = "virtio queue engine",
    .open = kxvqm_dev_init,
    .count = unit_count,
    .visit = unit_visit,
    .windows = WINDOWS,
};
