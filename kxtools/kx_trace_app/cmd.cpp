// Words to function: the module's table and its dispatcher.
#include <iterator>
#include <string_view>

#include "common/report.h"
#include "handlers.h"
#include "kx_trace_app/cmd.h"
#include "kxtools/cmd.h"

namespace {

struct trace_cmd {
  char name[64];
  int32_t (*handler)(uint64_t bar, char** words, uint32_t count);
  uint32_t min_args;  ///< the command runs when the line has more words than this
};

struct trace_module {
  char name[64];
  const trace_cmd* cmds;
  uint32_t count;
  void (*usage)();
};

constexpr trace_cmd TRACE_CMDS[] = {
    {"cmd", cmd_test_print, 0},     {"help", dpu_trace_info_help, 0}, {"version", trace_app_version_show, 0},
    {"st", dpu_trace_info_st, 0},   {"cnt", dpu_trace_info_pkt, 0},   {"status", dpu_trace_info_st, 0},
    {"pkt", dpu_trace_info_pkt, 0},
};
constexpr trace_cmd DTP_CMDS[] = {{"rate", dpu_dtp_info_rate, 1}};
constexpr trace_cmd NP_CMDS[] = {{"rate", dpu_np_info_rate, 1}};
constexpr trace_cmd VQM_CMDS[] = {{"rate", dpu_vqm_info_rate, 1}};

constexpr trace_module module_cmd_items[] = {
    {"trace", TRACE_CMDS, std::size(TRACE_CMDS), trace_cmd_usage},
    {"dtp", DTP_CMDS, std::size(DTP_CMDS), trace_cmd_usage},
    {"np", NP_CMDS, std::size(NP_CMDS), trace_cmd_usage},
    {"vqm", VQM_CMDS, std::size(VQM_CMDS), trace_cmd_usage},
};

const trace_cmd* find_cmd(const trace_module& module, std::string_view word) {
  for (uint32_t i = 0; i < module.count; ++i) {
    if (word == module.cmds[i].name) {
      return &module.cmds[i];
    }
  }
  return nullptr;
}

// Where BAR 0 of the bound device is mapped; 0 when none is bound.
uint64_t bound_bar() {
  kxtools_dev_info info = {};
  kxtools_dev_info_get(&info);
  return reinterpret_cast<uintptr_t>(info.bar_vaddr);
}

void process_module_cmd(char** words, uint32_t count, const trace_module& module) {
  if (count == 0) {
    kx_print("too few paras!.\n");
    module.usage();
    return;
  }
  const trace_cmd* cmd = find_cmd(module, words[0]);
  if (cmd == nullptr || count <= cmd->min_args) {
    module.usage();
    return;
  }
  cmd->handler(bound_bar(), words, count);
}

void kxtrace_para_process(const kxtools_cmd_context* ctx) {
  for (const trace_module& module : module_cmd_items) {
    if (std::string_view(ctx->cmd->name) == module.name) {
      process_module_cmd(ctx->argp, ctx->argc, module);
    }
  }
}

int32_t kxtrace_exec(kxtools_cmd_context* ctx) {
  kxtrace_para_process(ctx);
  return 0;
}

constexpr kxtools_cmd_entry kxtrace_sub_command_list[] = {
    {.name = "trace", .help = "trace {cmd|help|version|st|status|cnt|pkt}", .handler = kxtrace_exec},
    {.name = "vqm", .help = "vqm rate 1 [vfid]", .handler = kxtrace_exec},
    {.name = "dtp", .help = "dtp rate 1 [portid]", .handler = kxtrace_exec},
    {.name = "np", .help = "np rate 1 [portid]", .handler = kxtrace_exec},
};

}  // namespace

int32_t kxtrace_app_cmd_init() {
  return kxtools_cmd_register(KXTOOLS_MODULE_KXTRACE_APP, kxtrace_sub_command_list,
                              std::size(kxtrace_sub_command_list));
}
