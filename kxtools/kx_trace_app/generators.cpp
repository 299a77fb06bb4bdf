// Status and packet counters of the traffic generators, read from the trace information block.
#include <array>
#include <iterator>
#include <span>

#include "common/report.h"
#include "handlers.h"
#include "registers.h"

namespace {

constexpr const char* SEPARATOR = "\033[34m-------------------\033[0m";
constexpr size_t REGISTERS_MAX = 4;

/// The generators of one path that are shown, by the numbers the card gives them.
struct generator_set {
  const char* path;
  std::string_view status_list;
  std::string_view packet_list;
  std::array<uint32_t, 3> numbers;
  size_t count;
};

constexpr generator_set GENERATORS[] = {
    {"vqm", "vqm.status", "vqm.pkt", {1, 2, 3}, 3},
    {"dtp", "dtp.status", "dtp.pkt", {1, 4}, 2},
    {"np", "np.status", "np.pkt", {2, 3, 4}, 3},
};

/// The part of the block that a command shows.
using generator_values = std::array<std::array<std::array<uint64_t, REGISTERS_MAX>, 3>, std::size(GENERATORS)>;

constexpr bool lists_fit() {
  for (const generator_set& set : GENERATORS) {
    const size_t status = TRACE_REGISTERS.list(set.status_list).size();
    const size_t packets = TRACE_REGISTERS.list(set.packet_list).size();
    if (status == 0 || status > REGISTERS_MAX || packets == 0 || packets > REGISTERS_MAX) {
      return false;
    }
  }
  return true;
}
static_assert(lists_fit());

// Reads everything before the first line is printed, so that the lines belong to one moment.
int32_t read_block(std::string_view generator_set::*list, generator_values* values) {
  for (size_t set = 0; set < std::size(GENERATORS); ++set) {
    const std::span<const kx_register_description> rows = TRACE_REGISTERS.list(GENERATORS[set].*list);
    for (size_t i = 0; i < GENERATORS[set].count; ++i) {
      for (size_t row = 0; row < rows.size(); ++row) {
        if (trace_reg_read(KX_CARD_TRACE, rows[row], GENERATORS[set].numbers[i], &(*values)[set][i][row]) != 0) {
          return -1;
        }
      }
    }
  }
  return 0;
}

void print_register(const kx_register_description& row, uint64_t value) {
  for (const kx_field_description& field : TRACE_REGISTERS.fields(row)) {
    const std::string_view name = TRACE_REGISTERS.view(field.name);
    kx_print("  %-20.*s: %llu\n", static_cast<int>(name.size()), name.data(),
             static_cast<unsigned long long>(kx_field_value(field, value)));
  }
}

int32_t show_block(const char* what, std::string_view generator_set::*list) {
  generator_values values = {};
  if (read_block(list, &values) != 0) {
    return -1;
  }
  for (size_t set = 0; set < std::size(GENERATORS); ++set) {
    kx_print("[%s trpg %s]:\n", GENERATORS[set].path, what);
    const std::span<const kx_register_description> rows = TRACE_REGISTERS.list(GENERATORS[set].*list);
    for (size_t i = 0; i < GENERATORS[set].count; ++i) {
      kx_print("trpg %u\n", GENERATORS[set].numbers[i]);
      for (size_t row = 0; row < rows.size(); ++row) {
        print_register(rows[row], values[set][i][row]);
      }
    }
    kx_print("%s\n", SEPARATOR);
  }
  return 0;
}

}  // namespace

int32_t dpu_trace_info_st(uint64_t, char**, uint32_t) {
  return show_block("status", &generator_set::status_list);
}

int32_t dpu_trace_info_pkt(uint64_t, char**, uint32_t) {
  return show_block("pkt", &generator_set::packet_list);
}
