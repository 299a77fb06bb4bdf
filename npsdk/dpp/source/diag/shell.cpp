// The words of the debug shell that are records of the command table.
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_shell.h"
#include "qlix_comm/types.h"

std::atomic<bool> dpp_shell_leave = false;

uint32_t dpp_shell_quit(const char* /*text*/) {
  dpp_shell_leave = true;
  return QLIX_COMM_OK;
}
