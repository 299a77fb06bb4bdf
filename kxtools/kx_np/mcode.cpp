#include "common/report.h"
#include "dpp_diag/dpp_cmd.h"
#include "dpp_diag/dpp_mcode.h"
#include "kx_np/cmd.h"
#include "kxtools/cmd.h"
#include "qlix_comm/print.h"

int32_t kxnp_mcode_drop_stat(kxtools_cmd_context* ctx) {
  constexpr uint32_t words = 3;
  if (ctx == nullptr) {
    KXTOOLS_ERR("ctx is NULL\n");
    return -1;
  }
  if (ctx->argc != words) {
    QLIX_COMM_PRINT("mcode_drop_stat param num is not right!\n");
    return 0;
  }
  if (ctx->argp == nullptr) {
    KXTOOLS_ERR("ctx->arg_info.argp is NULL\n");
    return -1;
  }
  return static_cast<int32_t>(
      dpp_mcode_drop_stat_walk(__func__, dpp_atoi(ctx->argp[0]), dpp_atoi(ctx->argp[1]), dpp_atoi(ctx->argp[2])));
}
