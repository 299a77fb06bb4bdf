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

/// Card address of a register in the layout of the bound card; `index` counts for arrays only.
uint64_t vqm_register_address(const kx_register_description& row, uint64_t index);

/// The value of a register of any width at that place, read and written with as many words as it has.
uint64_t vqm_register_read(const kx_register_description& row, uint64_t index);
int32_t vqm_register_write(const kx_register_description& row, uint64_t index, uint64_t value);
