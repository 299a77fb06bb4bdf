// Commands that the register description gives: show, set, clear, and the summaries over several lists.
#include <algorithm>
#include <array>

#include "cmd_item.h"
#include "commands.h"
#include "common/nearest.h"
#include "common/plural.h"
#include "common/report.h"
#include "fields.h"
#include "registers.h"

namespace {

constexpr uint32_t SETTABLE_MAX = 8;

/// The words of a command, checked before anything is written.
struct register_request {
  uint64_t index = 0;
  uint32_t value_count = 0;
  std::array<uint64_t, SETTABLE_MAX> values = {};
};

bool is_array(const kx_register_description& row) {
  return row.index.length != 0;
}

constexpr bool is_settable(const kx_register_description& row) {
  return row.access == kx_register_access::rw;
}

constexpr uint32_t settable_count(std::span<const kx_register_description> rows) {
  return static_cast<uint32_t>(std::count_if(rows.begin(), rows.end(), is_settable));
}

static_assert(std::all_of(VQM_REGISTERS.registers.begin(), VQM_REGISTERS.registers.end(),
                          [](const kx_register_description& row) {
                            return settable_count(VQM_REGISTERS.list(VQM_REGISTERS.view(row.list))) <= SETTABLE_MAX;
                          }));

// A value must fit into its register, which one of 64 bits holds all numbers.
bool parse_value(const kx_register_description& row, const char* word, uint64_t* value) {
  if (!vqm_cmd_number(word, value)) {
    return false;
  }
  return row.width == 64 ||
         kxvqm_check_para_illegal(0, (int64_t{1} << row.width) - 1, static_cast<int64_t>(*value)) == 0;
}

bool parse_request(std::span<const kx_register_description> rows, char** words, uint32_t count,
                   register_request* request) {
  const kx_register_description* array = vqm_array_of(rows);
  const uint32_t first_value = vqm_cmd_words_back() + (array == nullptr ? 0 : 1);
  const uint32_t settable = settable_count(rows);
  if (!vqm_cmd_count_check(count, first_value, first_value + settable)) {
    return false;
  }
  if (count > first_value && !vqm_cmd_count_check(count, first_value + settable, first_value + settable)) {
    return false;
  }
  if (array != nullptr &&
      (!vqm_cmd_number(words[first_value - 1], &request->index) ||
       kxvqm_check_para_illegal(0, vqm_index_kind_of(*array).max, static_cast<int64_t>(request->index)) != 0)) {
    return false;
  }
  for (const kx_register_description& row : rows) {
    if (first_value + request->value_count == count) {
      break;
    }
    if (is_settable(row)) {
      if (!parse_value(row, words[first_value + request->value_count], &request->values[request->value_count])) {
        return false;
      }
      ++request->value_count;
    }
  }
  return true;
}

bool set_registers(std::span<const kx_register_description> rows, const register_request& request) {
  uint32_t next = 0;
  for (const kx_register_description& row : rows) {
    if (is_settable(row) && next < request.value_count &&
        vqm_register_write(row, request.index, request.values[next++]) != 0) {
      return false;
    }
  }
  return true;
}

// All ones in every field: that is what a clearing register is for.
uint64_t clear_value(const kx_register_description& row) {
  uint64_t value = 0;
  for (const kx_field_description& field : VQM_REGISTERS.fields(row)) {
    value |= (~uint64_t{0} >> (63 - (field.high - field.low))) << field.low;
  }
  return value;
}

void clear_register(const kx_register_description& row) {
  if (vqm_register_write(row, 0, clear_value(row)) == 0) {
    const std::string_view name = VQM_REGISTERS.view(row.name);
    kx_print("%.*s done\n", static_cast<int>(name.size()), name.data());
  }
}

// A card that does not answer makes every access wait for its time-out: one is enough.
bool show_unless_failed(const kx_register_description& row) {
  const uint32_t failures = vqm_reg_failures();
  vqm_register_show(row, 0);
  return vqm_reg_failures() == failures;
}

}  // namespace

void vqm_register_show(const kx_register_description& row, uint64_t index) {
  const uint64_t value = vqm_register_read(row, index);
  vqm_print_title(VQM_REGISTERS.view(row.name));
  vqm_print_fields(value, VQM_REGISTERS.fields(row));
}

void vqm_registers_run(uint64_t, char** words, uint32_t count) {
  const std::span<const kx_register_description> rows = vqm_cmd_registers();
  register_request request;
  if (!parse_request(rows, words, count, &request) || !set_registers(rows, request)) {
    return;
  }
  for (const kx_register_description& row : rows) {
    if (row.access == kx_register_access::clear) {
      clear_register(row);
    } else {
      vqm_register_show(row, request.index);
    }
  }
}

void vqm_summary_show(uint64_t, char**, uint32_t count) {
  if (vqm_cmd_count_check(count, 1, 1)) {
    vqm_registers_visit(vqm_cmd_lists(), show_unless_failed);
  }
}

void vqm_all_show(uint64_t, char**, uint32_t count) {
  if (!vqm_cmd_count_check(count, 1, 1)) {
    return;
  }
  for (const kx_register_description& row : VQM_REGISTERS.registers) {
    if (!is_array(row) && row.access != kx_register_access::clear && !show_unless_failed(row)) {
      return;
    }
  }
}

void vqm_check(uint64_t, char**, uint32_t count) {
  if (!vqm_cmd_count_check(count, 1, 1)) {
    return;
  }
  const uint32_t failures = vqm_reg_failures();
  uint32_t wrong = 0;
  vqm_registers_visit(vqm_cmd_lists(), [&wrong, failures](const kx_register_description& row) {
    const uint64_t value = vqm_register_read(row, 0);
    if (vqm_reg_failures() != failures) {
      return false;
    }
    if (value != 0) {
      ++wrong;
      vqm_print_title(VQM_REGISTERS.view(row.name));
      vqm_print_fields(value, VQM_REGISTERS.fields(row));
    }
    return true;
  });
  if (vqm_reg_failures() != failures) {
    kx_print("vqm check not finished\n");
  } else if (wrong == 0) {
    kx_print("vqm check ok\n");
  } else {
    kx_print("vqm check failed: %u register%s report%s errors\n", wrong, kx_plural(wrong), wrong == 1 ? "s" : "");
  }
}

void vqm_clear(uint64_t, char**, uint32_t count) {
  if (!vqm_cmd_count_check(count, 1, 1)) {
    return;
  }
  const uint32_t failures = vqm_reg_failures();
  for (const kx_register_description& row : VQM_REGISTERS.registers) {
    if (row.access == kx_register_access::clear && vqm_reg_failures() == failures) {
      clear_register(row);
    }
  }
}

void vqm_debug(uint64_t, char** words, uint32_t count) {
  if (!vqm_cmd_count_check(count, 2, 2)) {
    return;
  }
  const kx_register_description& control = VQM_REGISTERS.list("debug").front();
  const std::string_view word = words[1];
  if (word == "show") {
    vqm_registers_visit("debug debug_info", show_unless_failed);
  } else if (word == "open" || word == "close" || word == "closes") {
    vqm_register_write(control, 0, word == "open" ? 1 : 0);
    vqm_register_show(control, 0);
  } else {
    kx_print("kx_vqm Error: para[%s] illegal.\n", words[1]);
    vqm_cmd_help();
    kx_unknown_word_print("word of debug", words[1], std::array{"show", "open", "close", "closes"});
  }
}

void vqm_print_zero(uint64_t, char** words, uint32_t count) {
  uint64_t print = 0;
  if (vqm_cmd_count_check(count, 2, 2) && vqm_cmd_number(words[1], &print) &&
      kxvqm_check_para_illegal(0, 1, static_cast<int64_t>(print)) == 0) {
    vqm_print_zero_set(static_cast<uint32_t>(print));
  }
}
