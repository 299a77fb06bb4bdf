// The words of the debug shell that are records of the command table.
#include <cstring>

#include "dpp_diag/dpp_cmd.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_shell.h"
#include "qlix_comm/check.h"

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
      dpp_cmd_usage_print(entry);
    }
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_shell_version(const char* /*text*/) {
  return diag_dpp_sdk_version();
}
