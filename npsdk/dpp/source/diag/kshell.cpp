#include "dpp_diag/dpp_kshell.h"

#include <cstring>

#include "dpp_diag/dpp_diag_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t TEXT_MAX = 255;

}  // namespace

uint32_t dpp_netlink_init() {
  QLIX_COMM_TRACE_INFO("dpp_netlink_init: this build has no channel to the kernel.\n");
  return DPP_RC_NETLINK_NONE;
}

uint32_t dpp_kshell(const char* text) {
  QLIX_COMM_CHECK_POINT(text);
  QLIX_COMM_CHECK_INDEX(static_cast<uint32_t>(strlen(text)), 0, TEXT_MAX);
  QLIX_COMM_PRINT("dpp_kshell: this build cannot reach the NP shell in the kernel, nothing was sent.\n");
  return DPP_RC_NETLINK_NONE;
}
