#include "kx_np/cmd.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "common/report.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_diag/dpp_cmd.h"
#include "dpp_diag/dpp_mcode.h"
#include "kx_np/np_init.h"
#include "kx_pcie/tunnel.h"
#include "kxtools/cmd.h"
#include "qlix_comm/print.h"

namespace {

constexpr size_t TEXT_SIZE = 200;

constinit kxtools_cmd_entry kxnp_sub_command_list[DPP_CMD_LISTED_NUM] = {};

// All words with single blanks between them, cut where the buffer ends.
void words_join(const kxtools_cmd_context& ctx, char (&text)[TEXT_SIZE]) {
  text[0] = '\0';
  size_t length = 0;
  for (uint32_t i = 0; i < ctx.argc && length < TEXT_SIZE - 1; ++i) {
    const int wanted = snprintf(text + length, TEXT_SIZE - length, "%s%s", i == 0 ? "" : " ", ctx.argp[i]);
    length = std::min(length + static_cast<size_t>(wanted), TEXT_SIZE - 1);
  }
}

int32_t text_command_call(const DppCmdEntry& entry, const kxtools_cmd_context& ctx) {
  if (ctx.argc != 0 && ctx.argp == nullptr) {
    KXTOOLS_ERR("ctx->arg_info.argp is NULL\n");
    return -1;
  }
  char text[TEXT_SIZE];
  words_join(ctx, text);
  DppCmdArgs args;
  args.text = text;
  entry.func(entry, args);
  return 0;
}

// A command that changed the card and printed nothing of that: what it wrote, in one line.
void writes_tell(const char* name, const DppCmdWrites& writes, uint32_t code) {
  if (writes.num == 0) {
    return;
  }
  char more[40] = "";
  if (writes.shown < writes.num) {
    snprintf(more, sizeof more, " and %u more", writes.num - writes.shown);
  }
  fprintf(stderr, "%s %s %s%s\n", name, code == 0 ? "wrote" : "failed after it wrote", writes.text, more);
}

void integers_call(const DppCmdEntry& entry, const kxtools_cmd_context& ctx, DppCmdArgs& args) {
  DppCmdWrites writes;
  args.writes = ctx.cmd->permission == 0 ? nullptr : &writes;
  const uint32_t code = entry.func(entry, args);
  writes_tell(entry.name, writes, code);
}

void usage_print(const kxtools_cmd_entry& command) {
  const DppCmdEntry* entry = dpp_cmd_find(command.name);
  if (entry == nullptr) {
    kx_print("%s: this driver has no such command\n", command.name);
    return;
  }
  dpp_cmd_usage_print(*entry);
}

}  // namespace

int32_t kxnp_cmd_init() {
  if (dpp_np_init() < 0) {
    KXTOOLS_ERR("dpp_np_init failed\n");
    return -1;
  }
  for (uint32_t i = 0; i < DPP_CMD_LISTED_NUM; ++i) {
    const DppCmdListed listed = dpp_cmd_listed_get(i);
    const bool is_drop_stat = std::string_view(listed.name) == "mcode_drop_stat";
    kxtools_cmd_entry& command = kxnp_sub_command_list[i];
    command.name = listed.name;
    command.help = "";
    command.handler = is_drop_stat ? kxnp_mcode_drop_stat : kxnp_dpp_cmd_exec;
    command.permission = listed.permission;
    command.usage = usage_print;
  }
  return kxtools_cmd_register(KXTOOLS_MODULE_KXNP, kxnp_sub_command_list, DPP_CMD_LISTED_NUM);
}

int32_t kxnp_dev_init() {
  if (dpp_dev_pcie_bdf_set(KX_NP_DEVICE, pcie_bound_sbdf_get() & 0xFFFF) != 0) {
    KXTOOLS_ERR("dpp_dev_pcie_bdf_set failed\n");
    return -1;
  }
  return 0;
}

int32_t kxnp_dpp_cmd_exec(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->cmd == nullptr) {
    KXTOOLS_ERR("ctx is NULL\n");
    return -1;
  }
  const DppCmdEntry* entry = dpp_cmd_find(ctx->cmd->name);
  if (entry == nullptr || entry->func == nullptr) {
    KXTOOLS_ERR("command not found\n");
    return -1;
  }
  if (entry->int_args != 1) {
    return text_command_call(*entry, *ctx);
  }
  DppCmdArgs args;
  if (ctx->argc == 0) {
    args.num = 1;  // one zero
    integers_call(*entry, *ctx, args);
    return 0;
  }
  if (ctx->argp == nullptr) {
    KXTOOLS_ERR("ctx->arg_info.argp is NULL\n");
    return -1;
  }
  if (ctx->argc > DPP_CMD_ARG_MAX) {
    KXTOOLS_ERR("ctx->arg_info.argc:%d oversize\n", static_cast<int>(ctx->argc));
    return 0;
  }
  args.num = ctx->argc;
  for (uint32_t i = 0; i < ctx->argc; ++i) {
    args.value[i] = dpp_atoi(ctx->argp[i]);
    if (!dpp_is_integer(ctx->argp[i])) {
      kx_error_print("kxtool: '%s' is no number of 32 bits: %s takes it for 0x%x\n", ctx->argp[i], ctx->cmd->name,
                     args.value[i]);
    }
  }
  integers_call(*entry, *ctx, args);
  return 0;
}

int32_t kxnp_mcode_drop_stat(kxtools_cmd_context* ctx) {
  constexpr uint32_t WORDS = 3;
  if (ctx == nullptr) {
    KXTOOLS_ERR("ctx is NULL\n");
    return -1;
  }
  if (ctx->argc != WORDS) {
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
