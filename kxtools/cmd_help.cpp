// Help printers of the command tree; both show only what the current permission level may run.
#include <cstdio>
#include <cstring>

#include "cmd_explain.h"
#include "cmd_line.h"
#include "common/report.h"
#include "kxtools/cmd.h"
#include "kxtools/session.h"

namespace {

constexpr int TOP_COLUMNS = 30;
constexpr int MODULE_COLUMNS = 65;
constexpr size_t PREFIX_SIZE = 256;
constexpr char USAGE_INDENT[] = "    ";
constexpr size_t USAGE_INDENT_LENGTH = sizeof USAGE_INDENT - 1;

void name_print(const char* name, int columns) {
  printf("%-*s", columns, name);
}

// A usage block starts on a line of its own; a one-line help stands beside the name.
void help_print(const char* help) {
  if (help == nullptr) {
    printf("\n");
  } else if (strlen(help) > USAGE_INDENT_LENGTH && strncmp(help, USAGE_INDENT, USAGE_INDENT_LENGTH) == 0) {
    printf("\n%s\n", help);
  } else {
    printf("%s\n", help);
  }
}

// Prints every visible entry below `parent`, whose own chain of names is `prefix`.
int32_t sub_entries_print(const kxtools_cmd_entry& parent, const char* prefix) {
  if (parent.sub_cmd_num == 0) {
    return 0;
  }
  if (parent.sub_cmd_list == nullptr) {
    return KXTOOLS_ERR("command_list invalid!\n");
  }
  for (uint32_t i = 0; i < parent.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = parent.sub_cmd_list[i];
    if (entry.permission > kxtools_permission_get()) {
      continue;
    }
    char chain[PREFIX_SIZE];
    snprintf(chain, sizeof chain, "%s %s", prefix, entry.name);
    name_print(chain, MODULE_COLUMNS);
    help_print(entry.help);
    if (sub_entries_print(entry, chain) != 0) {
      return -1;
    }
  }
  return 0;
}

// The entry that all words behind "help" name: from the top of the tree, or as a maintenance command. On failure `ctx`
// is what the walk of the tree left.
int32_t named_entry_match(kxtools_cmd_context* ctx) {
  const kxtools_cmd_entry* list = kxtools_cmd_list_addr_get();
  const kxtools_cmd_entry& tool = list[KXTOOLS_MODULE_KXTOOL];
  uint32_t index = 0;
  const bool is_top = kxtools_cmd_index_get(ctx->argp[0], list, kxtools_cmd_list_count_get(), &index) == 0;
  const bool is_tool = !is_top && tool.sub_cmd_list != nullptr &&
                       kxtools_cmd_index_get(ctx->argp[0], tool.sub_cmd_list, tool.sub_cmd_num, &index) == 0;
  ctx->cmd = nullptr;
  const int32_t match = is_tool ? kxtools_cmd_match(ctx, tool.sub_cmd_list, tool.sub_cmd_num)
                                : kxtools_cmd_match(ctx, list, kxtools_cmd_list_count_get());
  return match == 0 && ctx->argc != 0 ? KXTOOLS_MATCH_NO_COMMAND : match;
}

}  // namespace

int32_t kxtools_help(kxtools_cmd_context* ctx) {
  if (ctx == nullptr) {
    return KXTOOLS_ERR("para is err!\n");
  }
  const kxtools_cmd_entry* list = kxtools_cmd_list_addr_get();
  if (ctx->argc != 0) {
    const int32_t match = named_entry_match(ctx);
    if (match == 0) {
      return kxtools_usage_print(ctx);
    }
    KXTOOLS_ERR("para is err!\n");
    kxtools_walk_explain(*ctx, match);
    return -1;
  }
  for (uint32_t i = 0; i < kxtools_cmd_list_count_get(); i++) {
    if (list[i].permission <= kxtools_permission_get()) {
      name_print(list[i].name, TOP_COLUMNS);
      printf("%s\n", list[i].help == nullptr ? "" : list[i].help);
    }
  }
  fflush(stdout);
  return 0;
}

int32_t kxtools_module_help(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->cmd == nullptr || ctx->argc != 0) {
    KXTOOLS_ERR("para is err!\n");
    if (ctx != nullptr && ctx->cmd != nullptr && ctx->cmd->sub_cmd_num == 0) {
      kx_error_print("kxtool: '%s' has no commands in this build\n", ctx->cmd->name);
    }
    return -1;
  }
  const kxtools_cmd_entry& entry = *ctx->cmd;
  if (entry.permission > kxtools_permission_get()) {
    return 0;
  }
  name_print(entry.name, MODULE_COLUMNS);
  help_print(entry.help);
  const int32_t result = sub_entries_print(entry, entry.name);
  fflush(stdout);
  if (entry.sub_cmd_num == 0) {
    kx_error_print("kxtool: '%s' has no commands in this build\n", entry.name);
  }
  return result;
}

int32_t kxtools_usage_print(kxtools_cmd_context* ctx) {
  const kxtools_cmd_entry& entry = *ctx->cmd;
  ctx->argc = 0;
  if (entry.usage != nullptr) {
    entry.usage(entry);
  } else if (entry.sub_cmd_num != 0) {
    return entry.handler != nullptr ? entry.handler(ctx) : kxtools_module_help(ctx);
  } else {
    printf("%s\n", entry.help == nullptr ? entry.name : entry.help);
  }
  fflush(stdout);
  return 0;
}
