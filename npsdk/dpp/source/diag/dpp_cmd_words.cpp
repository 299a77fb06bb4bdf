// What a command's words are, and what they must be.
#include <cstdio>
#include <cstring>

#include "dpp_cmd_table.h"
#include "dpp_diag/dpp_cmd.h"
#include "dpp_reg/dpp_reg_info.h"
#include "qlix_comm/check.h"

namespace {

uint32_t values_check(uint32_t place, std::span<const uint32_t> values, const qlix_comm_detail::source_place& at) {
  const dpp_cmd_record& record = dpp_cmd_records[place];
  for (uint32_t i = 0; i < record.arg_num; ++i) {
    const dpp_cmd_arg& arg = dpp_cmd_args[record.arg_first + i];
    const uint32_t value = i < values.size() ? values[i] : 0;
    const uint32_t code = arg.is_ranged != 0 ? qlix_comm_index_check(value, arg.min, arg.max) : QLIX_COMM_OK;
    if (code != QLIX_COMM_OK) {
      return qlix_comm_detail::report_range(at, code, value, arg.min, arg.max);
    }
  }
  return QLIX_COMM_OK;
}

// A printer of a register takes the indexes of an instance, a dump all instances.
void register_words_print(const dpp_cmd_record& record) {
  const dpp_reg_info& info = *dpp_reg_info_get(record.index);
  const bool prints = record.kind == dpp_cmd_kind::register_print;
  QLIX_COMM_PRINT(" dev_id=0..15");
  if (prints && (info.array_type & DPP_REG_BINARY_ARRAY) != 0) {
    QLIX_COMM_PRINT(" m=0..%u", info.m_size - 1);
  }
  if (prints && info.array_type != 0) {
    QLIX_COMM_PRINT(" n=0..%u", info.n_size - 1);
  }
  QLIX_COMM_PRINT("\n    %s of register %s.\n", prints ? "Fields" : "Words of every instance",
                  dpp_reg_text_get(info.name));
}

}  // namespace

uint32_t dpp_cmd_ranges_check(uint32_t place, std::span<const uint32_t> values) {
  const dpp_cmd_named& named = dpp_cmd_named_table[place];
  return values_check(
      place, values,
      {dpp_cmd_text(named.sheet), static_cast<int>(named.line), dpp_cmd_text(dpp_cmd_records[place].name)});
}

uint32_t dpp_cmd_ranges_check(const DppCmdEntry& entry, const DppCmdArgs& args,
                              const qlix_comm_detail::source_place& at) {
  return values_check(dpp_cmd_place(entry), args.value, at);
}

void dpp_cmd_usage_print(const DppCmdEntry& entry) {
  const uint32_t place = dpp_cmd_place(entry);
  const dpp_cmd_record& record = dpp_cmd_records[place];
  QLIX_COMM_PRINT("%s", entry.name);
  if (place >= DPP_CMD_NAMED_NUM) {
    register_words_print(record);
    return;
  }
  for (uint32_t i = 0; i < record.arg_num; ++i) {
    const dpp_cmd_arg& arg = dpp_cmd_args[record.arg_first + i];
    QLIX_COMM_PRINT(" %s", dpp_cmd_text(arg.name));
    if (arg.is_ranged != 0) {
      QLIX_COMM_PRINT("=%u..%u", arg.min, arg.max);
    }
  }
  QLIX_COMM_PRINT("%s\n    %s.\n", record.kind == dpp_cmd_kind::text ? " text" : "",
                  dpp_cmd_text(dpp_cmd_named_table[place].purpose));
}

bool dpp_cmd_is_usage_word(const char* words) {
  return strcmp(words, "-h") == 0 || strcmp(words, "--help") == 0;
}

void DppCmdWrites::add(const char* written) {
  const size_t length = strlen(text);
  const std::string_view between = num == 0 ? "" : ", ";
  const size_t added = strlen(written);
  // Once one does not fit, none behind it is shown.
  if (shown == num && length + between.size() + added < sizeof text) {
    memcpy(text + length, between.data(), between.size());
    memcpy(text + length + between.size(), written, added + 1);
    ++shown;
  }
  ++num;
}
