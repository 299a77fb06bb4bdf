// Words to function: the module's table and its dispatcher.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/nearest.h"
#include "common/report.h"
#include "handlers.h"
#include "kx_bttl/cmd.h"
#include "kxtools/cmd.h"

namespace {

constexpr uint32_t CMD_ID = 1;

/// A word behind the function word and its range.
struct bttl_param {
  const char* name;
  uint32_t min;
  uint32_t max;
};

struct bttl_func {
  char name[64];
  int32_t (*handler)(uint32_t cmd_id, uint32_t param1, uint32_t param2);
  char module[64];
  uint8_t para_num;  ///< words of the line after the module word, exactly
  bttl_param params[2];
  const char* purpose;
};

struct bttl_module {
  const bttl_func* funcs;
  uint32_t count;
};

constexpr bttl_param PATH = {"path", 0, BTTL_PATH_MAX};
constexpr bttl_param PORT = {"port", BTTL_PORT_RX, BTTL_PORT_RX | BTTL_PORT_TX};

constexpr bttl_func DXGE_FUNCS[] = {
    {"dump", dxge_dump, "dxge", 4, {PATH, PORT}, "Shows all registers of the chosen sides of the packet interface"},
    {"debug", dxge_debug, "dxge", 4, {PATH, PORT}, "Shows what the chosen sides counted as wrong"},
    {"cfg", dxge_config, "dxge", 4, {PATH, PORT}, "Shows how the chosen sides are configured"},
    {"press", dxge_press, "dxge", 4, {PATH, PORT}, "Shows the back pressure of the chosen sides"},
    {"rx_debug", rx_debug_1, "dxge", 4, {PATH, PORT}, "Shows the receive side's last error and what its bits say"},
};
constexpr bttl_func QMAN_FUNCS[] = {
    {"que", qman_queue_state, "qman", 2, {}, "Shows the state of the queue manager"},
    {"stat",
     qman_state,
     "qman",
     4,
     {{"first", 0, BTTL_QUEUE_MAX}, {"last", 0, BTTL_QUEUE_MAX}},
     "Shows the state of each queue from first to last"},
    {"cfg", qman_cfg, "qman", 2, {}, "Shows how the queue manager is configured"},
};
constexpr bttl_func BMAN_FUNCS[] = {
    {"stat", bman_state, "bman", 3, {{"pool", 0, BTTL_POOL_MAX}}, "Shows the state of a buffer pool"},
    {"cfg", bman_cfg, "bman", 2, {}, "Shows how the buffer manager is configured"},
};
constexpr bttl_func LRO_FUNCS[] = {
    {"cfg", HalLroCfgShow, "lro", 2, {}, "Shows how large receive offload is configured"},
};

constexpr bttl_module func_arrays[] = {
    {DXGE_FUNCS, std::size(DXGE_FUNCS)},
    {QMAN_FUNCS, std::size(QMAN_FUNCS)},
    {BMAN_FUNCS, std::size(BMAN_FUNCS)},
    {LRO_FUNCS, std::size(LRO_FUNCS)},
};

int32_t get_cmd_id(const char* word, uint32_t* cmd_id) {
  if (std::string_view(word) != "1") {
    kx_print("[dtp] Not support input parameter = %s\n", word);
    kx_print("[dtp] cmd module id %s, not support!\n", word);
    return -1;
  }
  *cmd_id = CMD_ID;
  return 0;
}

// The function as it is typed, its words with their ranges.
std::string words_of(const bttl_func& func) {
  std::string words = std::string("kxbttl ") + func.module + " 1 " + func.name;
  for (const bttl_param& param : std::span(func.params, func.para_num - 2u)) {
    char word[64];
    snprintf(word, sizeof word, " <%s %x..%x>", param.name, param.min, param.max);
    words += word;
  }
  return words;
}

int32_t dtp_input_para_check(std::string_view module, std::string_view name, uint32_t argc) {
  for (const bttl_module& row : func_arrays) {
    for (uint32_t i = 0; i < row.count; ++i) {
      const bttl_func& func = row.funcs[i];
      if (module == func.module && name == func.name && argc != func.para_num) {
        kx_print("func name = %s, module name = %s\n", func.name, func.module);
        kx_print("invalid param num argc = %d, para_num = %d\n", static_cast<int>(argc), func.para_num);
        kx_print("input para num invalid = %d!\n", static_cast<int>(argc));
        kx_error_print("kxtool: the words are '%s'\n", words_of(func).c_str());
        return -1;
      }
    }
  }
  return 0;
}

int32_t read_param(const char* word, uint32_t* param) {
  char* rest = nullptr;
  errno = 0;
  const unsigned long value = strtoul(word, &rest, 16);
  if (rest == word || *rest != '\0' || errno == ERANGE || value > UINT32_MAX) {
    kx_print("kxtools_err: para[%s] strtoul failed!\n", word);
    return -1;
  }
  *param = static_cast<uint32_t>(value);
  return 0;
}

void function_explain(const bttl_module& module, const char* name) {
  std::vector<const char*> names;
  for (uint32_t i = 0; i < module.count; ++i) {
    names.push_back(module.funcs[i].name);
  }
  kx_unknown_word_print((std::string("command of kxbttl ") + module.funcs[0].module).c_str(), name, names);
}

const bttl_func* find_func(std::string_view module, const char* name) {
  for (const bttl_module& row : func_arrays) {
    if (module != row.funcs[0].module) {
      continue;
    }
    for (uint32_t i = 0; i < row.count; ++i) {
      if (std::string_view(name) == row.funcs[i].name) {
        return &row.funcs[i];
      }
    }
    kx_print("module func not match \n");
    function_explain(row, name);
    return nullptr;
  }
  kx_print("module_name not match \n");
  return nullptr;
}

int32_t kxbttl_exec(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->cmd == nullptr) {
    KXTOOLS_ERR("ctx is NULL\n");
    return -1;
  }
  if (ctx->argc < 2) {
    KXTOOLS_ERR("too few paras\n");
    kx_error_print("kxtool: behind '%s' stand 1 and a command: '-h' shows them\n", ctx->cmd->name);
    return -1;
  }
  uint32_t cmd_id = 0;
  if (get_cmd_id(ctx->argp[0], &cmd_id) != 0 || dtp_input_para_check(ctx->cmd->name, ctx->argp[1], ctx->argc) != 0) {
    return -1;
  }
  uint32_t params[2] = {0, 0};
  for (uint32_t i = 0; i < std::size(params) && i + 2 < ctx->argc; ++i) {
    if (read_param(ctx->argp[i + 2], &params[i]) != 0) {
      return -1;
    }
  }
  const bttl_func* func = find_func(ctx->cmd->name, ctx->argp[1]);
  if (func == nullptr) {
    return -1;
  }
  func->handler(cmd_id, params[0], params[1]);
  return 0;
}

void usage_print(const kxtools_cmd_entry& entry) {
  for (const bttl_module& row : func_arrays) {
    for (uint32_t i = 0; i < row.count && std::string_view(row.funcs[i].module) == entry.name; ++i) {
      const bttl_func& func = row.funcs[i];
      kx_print("%s\n    %s.\n", words_of(func).c_str(), func.purpose);
    }
  }
  kx_print("Numbers are hexadecimal.\n");
  if (std::string_view(entry.name) == DXGE_FUNCS[0].module) {
    kx_print("Path 0 leads to the network processor, 1 to the queue engine; port 1 is receive, 2 transmit, 3 both.\n");
  }
}

constexpr kxtools_cmd_entry entry_of(const char* name, const char* help) {
  kxtools_cmd_entry entry = {.name = name, .help = help, .handler = kxbttl_exec};
  entry.usage = usage_print;
  return entry;
}

constexpr kxtools_cmd_entry kxbttl_sub_command_list[] = {
    entry_of("dxge", "dxge 1 {dump|debug|cfg|press|rx_debug} [path] [port]"),
    entry_of("bman", "bman 1 {stat [pool]|cfg}"),
    entry_of("qman", "qman 1 {que|stat [first] [last]|cfg}"),
    entry_of("lro", "lro 1 cfg"),
};

}  // namespace

int32_t kxbttl_cmd_init() {
  return kxtools_cmd_register(KXTOOLS_MODULE_KXBTTL, kxbttl_sub_command_list, std::size(kxbttl_sub_command_list));
}
