#include "dpp_diag/dpp_cmd.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "dpp_cmd_table.h"
#include "dpp_reg/dpp_reg_info.h"
#include "dpp_reg/dpp_reg_print.h"
#include "dpp_row.h"
#include "qlix_comm/check.h"

namespace {

/// Filled one by one as they are asked for; the pages of the others are never touched.
DppCmdEntry entries[DPP_CMD_NUM];

uint32_t row_call(const DppCmdEntry& self, const DppCmdArgs& args) {
  dpp_row_verdicts verdicts;
  return dpp_row_run(dpp_cmd_place(self), args, verdicts);
}

// A function that changes the card in silence: what it wrote are its own words.
void words_tell(uint32_t place, const DppCmdArgs& args) {
  const dpp_cmd_record& record = dpp_cmd_records[place];
  for (uint32_t i = 0; i < record.arg_num; ++i) {
    char text[80];
    snprintf(text, sizeof text, "%s=0x%x", dpp_cmd_text(dpp_cmd_args[record.arg_first + i].name), args.value[i]);
    args.writes->add(text);
  }
}

// Its ranges are checked here; what depends on another value it checks itself.
uint32_t function_call(const DppCmdEntry& self, const DppCmdArgs& args) {
  const uint32_t place = dpp_cmd_place(self);
  uint32_t code = dpp_cmd_ranges_check(place, args.value);
  if (code == QLIX_COMM_OK) {
    code = dpp_cmd_functions[dpp_cmd_records[place].index].func(self, args);
  }
  if (code == QLIX_COMM_OK && args.writes != nullptr && dpp_cmd_named_table[place].writes != 0) {
    words_tell(place, args);
  }
  return code;
}

uint32_t call_end(const DppCmdEntry& self, uint32_t code, const char* callee) {
  const bool good = code == QLIX_COMM_OK;
  return good ? code : qlix_comm_detail::report_call({__FILE_NAME__, __LINE__, self.name}, code, callee);
}

// dev_id, then the indexes of the instance that the register has.
uint32_t register_print_call(const DppCmdEntry& self, const DppCmdArgs& args) {
  const dpp_reg_info& info = *dpp_reg_info_get(dpp_cmd_records[dpp_cmd_place(self)].index);
  const bool two = (info.array_type & DPP_REG_BINARY_ARRAY) != 0;
  const uint32_t m = two ? args.value[1] : 0;
  const uint32_t n = info.array_type == 0 ? 0 : args.value[two ? 2 : 1];
  for (const auto& [index, size] : {std::pair(m, info.m_size), std::pair(n, info.n_size)}) {
    if (index >= size) {
      return qlix_comm_detail::report_range({__FILE_NAME__, __LINE__, self.name}, QLIX_COMM_OUT_OF_RANGE, index, 0,
                                            size - 1);
    }
  }
  return call_end(self, dpp_reg_fields_print(args.value[0], info.reg_no, m, n), "dpp_reg_fields_print");
}

uint32_t register_dump_call(const DppCmdEntry& self, const DppCmdArgs& args) {
  const uint32_t reg_no = dpp_cmd_records[dpp_cmd_place(self)].index;
  return call_end(self, dpp_regs_dump(args.value[0], reg_no, reg_no), "dpp_regs_dump");
}

dpp_cmd_func func_of(const dpp_cmd_record& record) {
  switch (record.kind) {
    case dpp_cmd_kind::row:
      return row_call;
    case dpp_cmd_kind::function:
      return function_call;
    case dpp_cmd_kind::text:
    case dpp_cmd_kind::shell:
      return dpp_cmd_functions[record.index].func;
    case dpp_cmd_kind::register_print:
      return register_print_call;
    case dpp_cmd_kind::register_dump:
      return register_dump_call;
    case dpp_cmd_kind::missing:
      break;
  }
  return nullptr;
}

}  // namespace

uint32_t dpp_cmd_place(const DppCmdEntry& entry) {
  return static_cast<uint32_t>(&entry - entries);
}

const DppCmdEntry* dpp_cmd_get(uint32_t index) {
  if (index >= DPP_CMD_NUM) {
    return nullptr;
  }
  DppCmdEntry& entry = entries[index];
  if (entry.name == nullptr) {
    const dpp_cmd_record& record = dpp_cmd_records[index];
    const bool is_word = record.kind == dpp_cmd_kind::shell;
    const bool takes_text = is_word || record.kind == dpp_cmd_kind::text;
    const char* help = is_word ? dpp_cmd_text(dpp_cmd_named_table[index].purpose) : "";
    entry = {dpp_cmd_text(record.name), func_of(record), help, takes_text ? 0u : 1u, is_word ? 0u : 1u};
  }
  return &entry;
}

const DppCmdEntry* dpp_cmd_find(const char* name) {
  if (name == nullptr) {
    return nullptr;
  }
  return dpp_cmd_get(dpp_name_find(dpp_cmd_name_slots, name,
                                   [](uint32_t place) { return dpp_cmd_text(dpp_cmd_records[place].name); }));
}

DppCmdListed dpp_cmd_listed_get(uint32_t index) {
  const dpp_cmd_listed& listed = dpp_cmd_listed_table[index];
  return {dpp_cmd_text(listed.name), static_cast<uint8_t>(listed.permission)};
}

bool dpp_is_integer(const char* text) {
  const bool hexadecimal = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const char* const begin = text + (hexadecimal ? 2 : 0);
  const char* const digits = begin + (!hexadecimal && (begin[0] == '-' || begin[0] == '+') ? 1 : 0);
  char* end = nullptr;
  errno = 0;
  const long long value = strtoll(begin, &end, hexadecimal ? 16 : 10);
  return isxdigit(static_cast<unsigned char>(digits[0])) != 0 && *end == '\0' && end != begin && errno == 0 &&
         value >= INT_MIN && value <= UINT_MAX;
}

// The conversions of scanf, without what it leaves undefined: a number too large for 64 bits reads as the largest.
uint32_t dpp_atoi(const char* text) {
  if (text == nullptr) {
    return 0;
  }
  const bool hexadecimal = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  return static_cast<uint32_t>(hexadecimal ? strtoull(text + 2, nullptr, 16)
                                           : static_cast<unsigned long long>(strtoll(text, nullptr, 10)));
}
