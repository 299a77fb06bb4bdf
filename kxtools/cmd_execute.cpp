// The dispatcher: one line of words from its text to its status.
#include <cstdlib>
#include <cstring>

#include "cmd_explain.h"
#include "cmd_line.h"
#include "common/report.h"
#include "device/bar.h"
#include "device/compat.h"
#include "device/function.h"
#include "device/interfaces.h"
#include "kxtools/session.h"

namespace {

// Whose parts the steps below are: they report under its name.
constexpr const char* CALLER = "kxtools_cmd_execute";

// Gives back the BAR that was mapped for this line only.
class line_mapping {
 public:
  line_mapping() = default;
  line_mapping(const line_mapping&) = delete;
  line_mapping& operator=(const line_mapping&) = delete;
  ~line_mapping() {
    if (info_ != nullptr && info_->bar_vaddr != nullptr && kxtools_dev_unmmap(info_->bar_vaddr, info_->bar_size) != 0) {
      KXTOOLS_ERR_OF(CALLER, "kxtools_dev_unmmap failed\n");
    }
  }
  // The mapping in `info` belongs to this line, unless the handler unmaps it and clears the address.
  void own(const kxtools_dev_info* info) {
    info_ = info;
  }

 private:
  const kxtools_dev_info* info_ = nullptr;
};

void walk_failure_print(const char* line, int32_t result) {
  switch (result) {
    case KXTOOLS_MATCH_NO_COMMAND:
      kx_print("%s: No such command for kxtools!\n", line);
      break;
    case KXTOOLS_MATCH_NO_PERMISSION:
      kx_print("%s: No execution permission!\n", line);
      break;
    default:
      kx_print("%s: Unknown error!\n", line);
      break;
  }
}

int32_t bound_state_copy(kxtools_cmd_context* ctx) {
  if (kxtools_dev_info_get(&ctx->dev_info) != 0) {
    return KXTOOLS_ERR_OF(CALLER, "kxtools_dev_info_get failed\n");
  }
  if (kxtools_compat_version_get(ctx->compat) != 0) {
    return KXTOOLS_ERR_OF(CALLER, "kxtools_compat_version_get failed\n");
  }
  if (kxtools_fw_feature_get(&ctx->fw_feature) != 0) {
    return KXTOOLS_ERR_OF(CALLER, "kxtools_fw_feature_get failed\n");
  }
  return 0;
}

bool is_help_request(const kxtools_cmd_context& ctx) {
  return ctx.argc == 1 && (strcmp(ctx.argp[0], "-h") == 0 || strcmp(ctx.argp[0], "--help") == 0);
}

// A maintenance command answers it in its child, the framework's own words take none.
bool is_usage_request(const kxtools_cmd_context& ctx, uint32_t module_id) {
  return module_id >= KXTOOLS_MODULE_KXNP && module_id <= KXTOOLS_MODULE_KXBTTL && is_help_request(ctx);
}

// "kxtool help [NAME...]": "help" is no command of the module, but what a user tries; alone it is "-h". False when the
// module has no such command.
bool tool_help_match(kxtools_cmd_context* ctx) {
  const kxtools_cmd_entry* list = kxtools_cmd_list_addr_get();
  const kxtools_cmd_entry& tool = list[KXTOOLS_MODULE_KXTOOL];
  uint32_t index = 0;
  if (ctx->cmd != &tool || strcmp(ctx->argp[0], "help") != 0) {
    return false;
  }
  if (ctx->argc == 1) {
    if (kxtools_cmd_index_get("-h", tool.sub_cmd_list, tool.sub_cmd_num, &index) != 0) {
      return false;
    }
    ctx->cmd = &tool.sub_cmd_list[index];
  } else if (kxtools_cmd_index_get("help", list, kxtools_cmd_list_count_get(), &index) == 0) {
    ctx->cmd = &list[index];
  }
  ctx->argc--;
  ctx->argp++;
  return true;
}

// The walk of the whole tree; behind a module or a group, the word that asks for its usage is no command.
int32_t line_match(kxtools_cmd_context* ctx) {
  const int32_t match = kxtools_cmd_match(ctx, kxtools_cmd_list_addr_get(), kxtools_cmd_list_count_get());
  if (match == KXTOOLS_MATCH_NO_COMMAND && tool_help_match(ctx)) {
    return 0;
  }
  return match == KXTOOLS_MATCH_NO_COMMAND && ctx->cmd != nullptr && is_help_request(*ctx) ? 0 : match;
}

// What holds for a line whose device publishes nothing, and for one without a device.
void line_compat_default(kxtools_cmd_context* ctx) {
  ctx->compat[KXTOOLS_COMPAT_KXTOOL] = {.item = KXTOOLS_COMPAT_KXTOOL + 1};
  ctx->fw_feature = 0;
}

void line_compat_absent(kxtools_cmd_context* ctx) {
  line_compat_default(ctx);
  kx_print("Warning: No firmware compatibility information available!\n");
}

// Replaces record 1 and the feature word of the context by what the device of the line publishes.
int32_t line_compat_read(kxtools_cmd_context* ctx) {
  const kx_mmio_region bar = kxtools_dev_bar(ctx->dev_info);
  uint32_t exists = 0;
  if (kxtools_compat_version_if_exist(KXTOOLS_COMPAT_KXTOOL, &bar, &exists) != 0) {
    return KXTOOLS_ERR_OF(CALLER, "kxtools_compat_version_if_exist KXTOOLS_COMPAT_KXTOOL failed\n");
  }
  if (exists == 0) {
    line_compat_absent(ctx);
    return 0;
  }
  if (kxtools_compat_version_read(KXTOOLS_COMPAT_KXTOOL, &bar, &ctx->compat[KXTOOLS_COMPAT_KXTOOL]) != 0) {
    return KXTOOLS_ERR_OF(CALLER, "kxtools_compat_version_read KXTOOLS_COMPAT_KXTOOL failed\n");
  }
  if (kxtools_fw_feature_read(&bar, &ctx->fw_feature) != 0) {
    return KXTOOLS_ERR_OF(CALLER, "kxtools_fw_feature_read failed\n");
  }
  return 0;
}

// Puts the segment in front of an address without one, so that the handler knows the word for an address.
bool short_address_complete(char** word) {
  if (!kxtools_is_short_address(*word)) {
    return true;
  }
  char* full = nullptr;
  if (asprintf(&full, "0000:%s", *word) < 0) {
    return false;
  }
  free(*word);
  *word = full;
  return true;
}

// The first word names the device of the line; it stays in the context for the handler.
int32_t line_device_take(kxtools_cmd_context* ctx, uint32_t module_id, line_mapping* mapping) {
  if (ctx->argp == nullptr || ctx->argp[0] == nullptr) {
    return KXTOOLS_ERR_OF(CALLER, "module_id %u, argc = %u, argp is NULL, argp[0] is NULL\n", module_id, ctx->argc);
  }
  if (!short_address_complete(&ctx->argp[0])) {
    return KXTOOLS_ERR_OF(CALLER, "strdup failed!\n");
  }
  kxtools_sbdf sbdf = KXTOOLS_SBDF_NONE;
  if (kxtools_dev_name2bdf(ctx->argp[0], &sbdf) != 0) {
    KXTOOLS_ERR_OF(CALLER, "kxtools_dev_name2bdf failed!\n");
    kxtools_device_word_explain(ctx->argp[0]);
    return -1;
  }
  if (kxtools_dev_is_foreign(sbdf)) {
    // Reading foreign hardware is never free. The command refuses the device.
    ctx->dev_info = {};
    line_compat_absent(ctx);
    return 0;
  }
  const bool by_driver = kxtools_is_driver_query(ctx->cmd->name, ctx->argp[0]);
  if (kxtools_dev_info_set(sbdf, &ctx->dev_info, by_driver ? kxtools_bar_use::record : kxtools_bar_use::all) != 0) {
    return KXTOOLS_ERR_OF(CALLER, "kxtools_dev_info_set failed!\n");
  }
  mapping->own(&ctx->dev_info);
  if (ctx->dev_info.bar_vaddr == nullptr) {
    line_compat_default(ctx);
    return 0;
  }
  return line_compat_read(ctx);
}

int32_t handler_run(const char* line, kxtools_cmd_context* ctx) {
  if (ctx->cmd->handler == nullptr) {
    return 0;
  }
  if (kxtools_compat_version_check(ctx) != 0) {
    kx_print("%s: Compatibility check failed!\n", line);
    return -1;
  }
  int32_t result = ctx->cmd->handler(ctx);
  if (result == 0 && kx_device_memory_losses != 0) {
    result = -1;  // what was read of a card that was taken away is no answer
  }
  if (result < 0) {
    kx_print("%s: Command exec failed!\n", line);
  }
  return result;
}

}  // namespace

int32_t kxtools_cmd_execute(const char* line) {
  if (line == nullptr || line[0] == '\0') {
    return -1;
  }
  if (kxtools_cmd_list_addr_get() == nullptr) {
    return KXTOOLS_ERR("command_list is null!\n");
  }
  const kxtools_cmd_context_owner ctx = kxtools_cmd_context_malloc(line);
  if (ctx == nullptr) {
    return -1;
  }
  if (ctx->argc == 0) {
    kx_error_print("kxtool: a line of blanks is no command\n");
    return -1;
  }
  ctx->permission = kxtools_permission_get();
  const int32_t match = line_match(ctx.get());
  if (match < 0) {
    walk_failure_print(line, match);
    kxtools_walk_explain(*ctx, match);
    return -1;
  }

  uint32_t module_id = 0;
  if (kxtools_module_id_get(ctx->cmd, &module_id) != 0) {
    return KXTOOLS_ERR("kxtools_module_id_get failed!\n");
  }
  if (is_usage_request(*ctx, module_id)) {
    return kxtools_usage_print(ctx.get());
  }
  uint32_t not_device = 0;
  if (kxtools_is_not_kxtool_cmd_format(ctx->cmd, &not_device) != 0) {
    return KXTOOLS_ERR("kxtools_is_not_kxtool_cmd_format failed!\n");
  }
  kx_device_memory_rearm();
  if (bound_state_copy(ctx.get()) != 0) {
    return -1;
  }
  line_mapping mapping;
  if (module_id == KXTOOLS_MODULE_KXTOOL && ctx->argc >= 1 && not_device == 0) {
    if (is_help_request(*ctx)) {
      line_compat_default(ctx.get());
    } else if (line_device_take(ctx.get(), module_id, &mapping) != 0) {
      return -1;
    }
  }
  return handler_run(line, ctx.get());
}

bool kxtools_cmd_is_usage(const char* line) {
  const kxtools_cmd_context_owner ctx = kxtools_cmd_context_malloc(line);
  uint32_t module_id = 0;
  if (ctx == nullptr) {
    return false;
  }
  ctx->permission = kxtools_permission_get();
  return line_match(ctx.get()) == 0 && ctx->cmd != nullptr && kxtools_module_id_get(ctx->cmd, &module_id) == 0 &&
         is_usage_request(*ctx, module_id);
}
