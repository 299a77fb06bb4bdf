// The register description of the queue engine, as the compiler made it of vqm_registers.csv.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "common/register_description.h"

inline constexpr std::string_view VQM_REGISTERS_CSV =
#include "vqm_registers.csv.inc"
    ;
inline constexpr const kx_description& VQM_REGISTERS = kx_description_of<VQM_REGISTERS_CSV>;

/// Calls `use` for every list of `lists`, names with blanks between them, until it returns false.
template <typename Use>
constexpr bool vqm_lists_visit(std::string_view lists, Use use) {
  while (!lists.empty()) {
    const std::string_view list = lists.substr(0, lists.find(' '));
    lists.remove_prefix(lists.size() == list.size() ? list.size() : list.size() + 1);
    if (!use(list)) {
      return false;
    }
  }
  return true;
}
/// The same for every register of the lists.
template <typename Use>
constexpr bool vqm_registers_visit(std::string_view lists, Use use) {
  return vqm_lists_visit(lists, [&use](std::string_view list) {
    const auto rows = VQM_REGISTERS.list(list);
    return std::all_of(rows.begin(), rows.end(), use);
  });
}

/// The kinds of index that register arrays have, and the highest of each.
struct vqm_index_kind {
  std::string_view name;
  uint32_t max;
};
inline constexpr uint32_t VQM_VF_MAX = 1192;
inline constexpr vqm_index_kind VQM_INDEX_KINDS[] = {{"vf", VQM_VF_MAX}, {"q", 4095},  {"ep", 4},
                                                     {"port", 3},        {"link", 15}, {"eng", 7}};

/// The kind with that name; past the end of the table for another name.
constexpr size_t vqm_index_kind_find(std::string_view name) {
  size_t kind = 0;
  while (kind < std::size(VQM_INDEX_KINDS) && VQM_INDEX_KINDS[kind].name != name) {
    ++kind;
  }
  return kind;
}

/// Of the registers of a command the one that tells its index, the first of an array; null when none is in an array.
constexpr const kx_register_description* vqm_array_of(std::span<const kx_register_description> rows) {
  const auto array = std::find_if(rows.begin(), rows.end(), [](const auto& row) { return row.index.length != 0; });
  return array == rows.end() ? nullptr : &*array;
}
/// The kind of its index.
constexpr const vqm_index_kind& vqm_index_kind_of(const kx_register_description& array) {
  return VQM_INDEX_KINDS[vqm_index_kind_find(VQM_REGISTERS.view(array.index))];
}

/// Card address of a register in the layout of the bound card; `index` counts for arrays only.
uint64_t vqm_register_address(const kx_register_description& row, uint64_t index);

/// The value of a register of any width at that place, read and written with as many words as it has.
uint64_t vqm_register_read(const kx_register_description& row, uint64_t index);
int32_t vqm_register_write(const kx_register_description& row, uint64_t index, uint64_t value);

// Registers by their card address.

/// What the first register holds when the newer register layout is in the card.
inline constexpr uint32_t VQM_NEW_VERSION = 0x20250129;

/// Reads a register of 16, 32 or 64 bits (kx_pcie/card_register.h). All ones of its width after a failure, with a
/// message.
uint64_t vqm_reg_read(uint64_t address, uint32_t width);
/// Writes one. Returns 0, or -1 with a message.
int32_t vqm_reg_write(uint64_t address, uint32_t width, uint64_t value);

// The same by width.
inline uint16_t vqm_reg_read_16(uint64_t address) {
  return static_cast<uint16_t>(vqm_reg_read(address, 16));
}
inline uint32_t vqm_reg_read_32(uint64_t address) {
  return static_cast<uint32_t>(vqm_reg_read(address, 32));
}
inline uint64_t vqm_reg_read_64(uint64_t address) {
  return vqm_reg_read(address, 64);
}
inline int32_t vqm_reg_write_16(uint64_t address, uint16_t value) {
  return vqm_reg_write(address, 16, value);
}
inline int32_t vqm_reg_write_32(uint64_t address, uint32_t value) {
  return vqm_reg_write(address, 32, value);
}
inline int32_t vqm_reg_write_64(uint64_t address, uint64_t value) {
  return vqm_reg_write(address, 64, value);
}

/// Accesses that have failed since the process began: who reads many registers stops when the number grows.
uint32_t vqm_reg_failures();

/// 1 when the bound card has the newer register layout, else 0.
uint32_t vqm_new_get();
