// The words of the debug shell that are records of the command table.
#include <cstring>

#include "dpp_cmd_table.h"
#include "dpp_diag/dpp_cmd.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_shell.h"
#include "qlix_comm/check.h"

namespace {

// Name, words with their ranges, help.
void command_print(const DppCmdEntry& entry, const dpp_cmd_record& record) {
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

}  // namespace

uint32_t dpp_shell_quit(const char* /*text*/) {
  dpp_shell_leave = true;
  return QLIX_COMM_OK;
}

uint32_t dpp_shell_exit(const char* text) {
  return dpp_shell_quit(text);
}

uint32_t dpp_shell_help(const char* text) {
  QLIX_COMM_CHECK_POINT(text);
  for (uint32_t i = 0; i < DPP_CMD_NUM; ++i) {
    const DppCmdEntry& entry = *dpp_cmd_get(i);
    if (strncmp(entry.name, text, strlen(text)) == 0) {
      command_print(entry, dpp_cmd_records[i]);
    }
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_shell_version(const char* /*text*/) {
  return diag_dpp_sdk_version();
}
