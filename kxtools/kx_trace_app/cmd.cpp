// Words to function: the module's table and its dispatcher.
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "common/nearest.h"
#include "common/report.h"
#include "handlers.h"
#include "kx_trace_app/cmd.h"
#include "kxtools/cmd.h"

namespace {

struct trace_cmd {
  char name[64];
  int32_t (*handler)(uint64_t bar, char** words, uint32_t count);
  uint32_t min_args;   ///< the command runs when the line has more words than this
  uint32_t index_num;  ///< of a measurement: how many there are of what its last word counts
  const char* purpose;
  const char* index = nullptr;
};

struct trace_module {
  char name[64];
  const trace_cmd* cmds;
  uint32_t count;
  void (*usage)();
};

constexpr trace_cmd TRACE_CMDS[] = {
    {"cmd", cmd_test_print, 0, 0, "Shows where BAR 0 of the bound function is mapped"},
    {"help", dpu_trace_info_help, 0, 0, "Names the commands that show the traffic generators"},
    {"version", trace_app_version_show, 0, 0, "Shows the version of the trace application"},
    {"st", dpu_trace_info_st, 0, 0, "Shows the status of the traffic generators"},
    {"cnt", dpu_trace_info_pkt, 0, 0, "Shows what the traffic generators sent and received"},
    {"status", dpu_trace_info_st, 0, 0, "Shows the status of the traffic generators"},
    {"pkt", dpu_trace_info_pkt, 0, 0, "Shows what the traffic generators sent and received"},
};
constexpr trace_cmd DTP_CMDS[] = {
    {"rate", dpu_dtp_info_rate, 1, TRACE_DTP_PORT_NUM, "Measures packets and bits of a port for a second", "port"}};
constexpr trace_cmd NP_CMDS[] = {
    {"rate", dpu_np_info_rate, 1, TRACE_NP_PORT_NUM, "Measures packets and bits of a port for a second", "port"}};
constexpr trace_cmd VQM_CMDS[] = {
    {"rate", dpu_vqm_info_rate, 1, TRACE_VF_NUM, "Measures packets and bits of a virtual function for a second", "vf"}};

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

// The command as it is typed, its words with their ranges.
std::string words_of(const trace_module& module, const trace_cmd& cmd) {
  std::string words = std::string("kxtrace_app ") + module.name + " " + cmd.name;
  if (cmd.index != nullptr) {
    words += std::string(" 1 [") + cmd.index + " 0.." + std::to_string(cmd.index_num - 1) + "]";
  }
  return words;
}

// What is wrong with the words, behind the fixed text that says only that something is.
void words_explain(const trace_module& module, const trace_cmd* cmd, char** words, uint32_t count) {
  if (count == 0) {
    kx_error_print("kxtool: behind '%s' stands a command: '-h' shows them\n", module.name);
    return;
  }
  if (cmd != nullptr) {
    kx_error_print("kxtool: a word is missing: the words are '%s'\n", words_of(module, *cmd).c_str());
    return;
  }
  std::vector<const char*> names;
  for (uint32_t i = 0; i < module.count; ++i) {
    names.push_back(module.cmds[i].name);
  }
  kx_unknown_word_print((std::string("command of kxtrace_app ") + module.name).c_str(), words[0], names);
}

void process_module_cmd(char** words, uint32_t count, const trace_module& module) {
  if (count == 0) {
    kx_print("too few paras!.\n");
  }
  const trace_cmd* cmd = count == 0 ? nullptr : find_cmd(module, words[0]);
  if (cmd == nullptr || count <= cmd->min_args) {
    module.usage();
    words_explain(module, cmd, words, count);
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

void usage_print(const kxtools_cmd_entry& entry) {
  for (const trace_module& module : module_cmd_items) {
    for (uint32_t i = 0; i < module.count && std::string_view(module.name) == entry.name; ++i) {
      const trace_cmd& cmd = module.cmds[i];
      kx_print("%s\n    %s.\n", words_of(module, cmd).c_str(), cmd.purpose);
    }
  }
}

constexpr kxtools_cmd_entry entry_of(const char* name, const char* help) {
  kxtools_cmd_entry entry = {.name = name, .help = help, .handler = kxtrace_exec};
  entry.usage = usage_print;
  return entry;
}

constexpr kxtools_cmd_entry kxtrace_sub_command_list[] = {
    entry_of("trace", "trace {cmd|help|version|st|status|cnt|pkt}"),
    entry_of("vqm", "vqm rate 1 [vfid]"),
    entry_of("dtp", "dtp rate 1 [portid]"),
    entry_of("np", "np rate 1 [portid]"),
};

}  // namespace

int32_t kxtrace_app_cmd_init() {
  return kxtools_cmd_register(KXTOOLS_MODULE_KXTRACE_APP, kxtrace_sub_command_list,
                              std::size(kxtrace_sub_command_list));
}
