// "bind": one command of another module against a named device, from the command line.
#include <array>
#include <cstring>
#include <string>

#include "common/nearest.h"
#include "common/report.h"
#include "kxtools/bind.h"
#include "kxtools/session.h"
#include "sub_commands.h"

namespace {

// Whose parts the steps below are: they report under its name.
constexpr const char* CALLER = "kxtool_bind";

int32_t device_bind(kxtools_cmd_context* ctx) {
  if (kxtools_dev_init(ctx->argp[0], nullptr) != 0 || kxtools_compat_version_init() != 0) {
    return -1;
  }
  return kxtools_module_dev_init();
}

// The words from the module's name on; false with a message.
bool words_join(const kxtools_cmd_context& ctx, std::string* line) {
  for (uint32_t i = 1; i < ctx.argc; ++i) {
    if (ctx.argp[i] == nullptr) {
      KXTOOLS_ERR_OF(CALLER, "para is err\n");
      return false;
    }
    *line += i == 1 ? "" : " ";
    *line += ctx.argp[i];
  }
  return true;
}

// Reports a word that is no module with the names of those that are.
void module_explain(const char* word) {
  std::array<const char*, KXTOOLS_MODULE_KXRDMA> names = {};
  for (uint32_t id = KXTOOLS_MODULE_KXNP; id <= KXTOOLS_MODULE_KXRDMA; ++id) {
    names[id - KXTOOLS_MODULE_KXNP] = kxtools_cmd_list_addr_get()[id].name;
  }
  kx_unknown_word_print("module", word, names);
}

int32_t module_command_run(kxtools_cmd_context* ctx) {
  if (ctx->argc < 2 || ctx->argp == nullptr || ctx->argp[0] == nullptr || ctx->argp[1] == nullptr) {
    KXTOOLS_ERR_OF(CALLER, "argc = %u, argp is NULL, argp[0] is NULL, argp[1] is NULL\n", ctx->argc);
    kx_error_print("kxtool: bind needs a device, a module and its command: 'kxtool bind -h' shows how\n");
    return -1;
  }
  uint32_t index = 0;
  if (kxtools_cmd_index_get(ctx->argp[1], kxtools_cmd_list_addr_get(), kxtools_cmd_list_count_get(), &index) != 0) {
    KXTOOLS_ERR_OF(CALLER, "kxtools_cmd_index_get failed!\n");
    module_explain(ctx->argp[1]);
    return -1;
  }
  if (index < KXTOOLS_MODULE_KXNP || index > KXTOOLS_MODULE_KXRDMA) {
    KXTOOLS_ERR_OF(CALLER, "module_id is %d, error!\n", static_cast<int>(index));
    module_explain(ctx->argp[1]);
    return -1;
  }
  std::string line;
  if (!words_join(*ctx, &line)) {
    return -1;
  }
  // Who asks for a usage needs no card.
  if (!kxtools_cmd_is_usage(line.c_str()) && device_bind(ctx) != 0) {
    return -1;
  }
  if (kxtools_cmd_execute(line.c_str()) != 0) {
    return KXTOOLS_ERR_OF(CALLER, "kxtools_cmd_execute failed\n");
  }
  return 0;
}

}  // namespace

const char kxtool_bind_usage[] = R"(    COMMAND:
        bind
    SYNOPSIS:
        kxtool bind <device> <module> <command> [OPTIONS]
    DESCRIPTION:
        Runs one command of a module against a device, from the command line; in the shell the modules'
        commands work on the device that the prompt shows. A module alone lists its commands.
    OPTIONS:
        <device>       network interface or PCI address of the card
        <command>      command of the module, followed by its words
        <module>       one of
            kxnp           network processor: registers, counters, tables, capture, micro-code
            kxpcie         card memory, configuration space, errors, link, margins
            kxvqm          virtio queue engine
            kxbttl         packet engine
            kxtrace_app    traffic generators, packet and bit rates
            kxrdma         no commands in this build
    EXAMPLES:
        kxtool bind eth0 kxvqm
        kxtool bind eth0 kxvqm glb version
        kxtool bind 3b:00.0 kxpcie link_status)";

int32_t kxtool_bind(kxtools_cmd_context* ctx) {
  if (ctx->argc == 1 && (strcmp(ctx->argp[0], "-h") == 0 || strcmp(ctx->argp[0], "--help") == 0)) {
    kx_print("%s\n", kxtool_bind_usage);
    return 0;
  }
  if (kxtools_is_interactive_get() != 0) {
    KXTOOLS_ERR("This command only supports non-interactive command line!\n");
    return 0;
  }
  const int32_t result = module_command_run(ctx);
  kxtools_dev_info& info = ctx->dev_info;
  if (info.bar_vaddr != nullptr) {
    const int32_t unmapped = kxtools_dev_unmmap(info.bar_vaddr, info.bar_size);
    info.bar_vaddr = nullptr;  // the dispatcher must not unmap it again
    if (unmapped != 0) {
      KXTOOLS_ERR("kxtools_dev_unmmap failed\n");
      return result != 0 ? result : unmapped;
    }
  }
  return result;
}
