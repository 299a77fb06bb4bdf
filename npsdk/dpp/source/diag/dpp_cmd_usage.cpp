// What a command's words are.
#include <cstring>

#include "dpp_cmd_table.h"
#include "dpp_diag/dpp_cmd.h"
#include "qlix_comm/print.h"

// Name, words with their ranges, help.
void dpp_cmd_usage_print(const DppCmdEntry& entry) {
  const dpp_cmd_record& record = dpp_cmd_records[dpp_cmd_place(entry)];
  QLIX_COMM_PRINT("%s", entry.name);
  for (uint32_t i = 0; i < record.arg_num; ++i) {
    const dpp_row_arg& arg = dpp_row_args[record.arg_first + i];
    QLIX_COMM_PRINT(" %s", &dpp_cmd_text_pool[arg.name]);
    if (arg.is_ranged != 0) {
      QLIX_COMM_PRINT("=%u..%u", arg.min, arg.max);
    }
  }
  QLIX_COMM_PRINT("%s%s\n", entry.help[0] == '\0' ? "" : "  ", entry.help);
}

bool dpp_cmd_is_usage_word(const char* words) {
  return strcmp(words, "-h") == 0 || strcmp(words, "--help") == 0;
}
