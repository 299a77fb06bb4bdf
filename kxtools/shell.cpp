// The interactive shell: its built-in commands and the read loop.
#include "kxtools/shell.h"

#include <linenoise.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "common/report.h"
#include "kxtools/bind.h"
#include "kxtools/cmd.h"
#include "kxtools/session.h"
#include "terminal_guard.h"

namespace {

constexpr char ACCESS_WORD[] = "opsu";

constinit bool running = true;

using line_owner = std::unique_ptr<char, void (*)(void*)>;

line_owner line_read() {
  const kxtools_terminal_guard guard;
  return {linenoise(kxtools_prompt_get()), linenoiseFree};
}

void cmd_completion(const char* buffer, linenoiseCompletions* completions) {
  std::string suffix;
  bool unique = false;
  if (buffer[0] == '\0' || !kxtools_cmd_complete(buffer, &suffix, &unique)) {
    return;
  }
  const std::string candidate = buffer + suffix + (unique ? " " : "");
  linenoiseAddCompletion(completions, candidate.c_str());
}

}  // namespace

int32_t kxtools_permission_switch(kxtools_cmd_context* ctx) {
  if (ctx == nullptr) {
    return KXTOOLS_ERR("ctx is NULL!\n");
  }
  if (ctx->argc != 1) {
    KXTOOLS_ERR("argc %u error!\n", ctx->argc);
    kx_error_print("kxtool: 'su' takes one word, the access word\n");
    return -1;
  }
  if (ctx->argp == nullptr || ctx->argp[0] == nullptr) {
    return KXTOOLS_ERR("argp is NULL!\n");
  }
  if (strcmp(ctx->argp[0], ACCESS_WORD) != 0) {
    KXTOOLS_ERR("argp %s error!\n", ctx->argp[0]);
    kx_error_print("kxtool: '%s' is not the access word of 'su'\n", ctx->argp[0]);
    return -1;
  }
  kx_print("Warning: You have entered super user mode, operations may cause system anomalies!!!\n\n\n");
  kxtools_permission_set(KXTOOLS_LEVEL_SUPER);
  if (kxtools_prompt_set(ctx->dev_info.sbdf) != 0) {
    return KXTOOLS_ERR("kxtools_prompt_set failed!\n");
  }
  return 0;
}

int32_t kxtools_permission_logout(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->argc != 0) {
    KXTOOLS_ERR("para is err!\n");
    kx_error_print("kxtool: 'logout' takes no words\n");
    return -1;
  }
  kxtools_permission_set(KXTOOLS_LEVEL_USER);
  if (kxtools_prompt_set(ctx->dev_info.sbdf) != 0) {
    return KXTOOLS_ERR("kxtools_prompt_set failed!\n");
  }
  return 0;
}

int32_t kxtools_quit(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->argc != 0) {
    KXTOOLS_ERR("para is err!\n");
    kx_error_print("kxtool: 'quit' takes no words\n");
    return -1;
  }
  running = false;
  return 0;
}

int32_t kxtools_sbdf_switch(kxtools_cmd_context* /*ctx*/) {
  bool quit = false;
  if (kxtools_dev_init(nullptr, &quit) != 0) {
    return KXTOOLS_ERR("kxtools_dev_init failed\n");
  }
  if (quit) {
    kxtools_dev_info info = {};
    kxtools_dev_info_get(&info);
    // A device that was bound before stays bound.
    if (info.sbdf[0] == '\0') {
      kx_print("Warning: No pci device bound, commands restricted!\n");
    }
    return 0;
  }
  if (kxtools_compat_version_init() != 0) {
    return KXTOOLS_ERR("kxtools_compat_version_init failed\n");
  }
  if (kxtools_module_dev_init() != 0) {
    return KXTOOLS_ERR("kxtools_module_dev_init failed\n");
  }
  return 0;
}

int32_t kxtools_shell_run() {
  linenoiseSetCompletionCallback(cmd_completion);
  int32_t result = 0;
  while (running) {
    // The line editor writes past the stream's buffer.
    fflush(stdout);
    const line_owner line = line_read();
    if (line == nullptr) {
      break;
    }
    if (line.get()[0] == '\0') {
      continue;
    }
    result |= kxtools_cmd_execute(line.get());
    linenoiseHistoryAdd(line.get());
  }
  return result;
}
