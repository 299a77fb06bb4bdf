// The interactive shell: prompt, permission level, its built-in commands and the read loop.
#include "kxtools/shell.h"

#include <fcntl.h>
#include <linenoise.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "common/report.h"
#include "common/unique_fd.h"
#include "kxtools/cmd.h"
#include "terminal_guard.h"

namespace {

constexpr uint32_t LEVEL_USER = 0;
constexpr uint32_t LEVEL_SUPER = 1;
constexpr char ACCESS_WORD[] = "opsu";
constexpr size_t PROMPT_SIZE = 100;

struct shell_state {
  char prompt[PROMPT_SIZE] = "[kxtool]>";
  uint32_t permission = LEVEL_USER;
  bool interactive = false;
  bool running = true;
};

constinit shell_state shell = {};

struct line_deleter {
  void operator()(char* line) const {
    linenoiseFree(line);
  }
};
using line_owner = std::unique_ptr<char, line_deleter>;

line_owner line_read() {
  const kxtools_terminal_guard guard;
  return line_owner(linenoise(kxtools_prompt_get()));
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

int32_t kxtools_prompt_set(const char* sbdf) {
  if (sbdf == nullptr) {
    KXTOOLS_ERR("sbdf is NULL!\n");
    return -1;
  }
  const bool super = shell.permission == LEVEL_SUPER;
  snprintf(shell.prompt, sizeof shell.prompt, "[%skxtool%s%s]%s", super ? "root@" : "", sbdf[0] == '\0' ? "" : ":",
           sbdf, super ? "#" : ">");
  return 0;
}

const char* kxtools_prompt_get() {
  return shell.prompt;
}

uint32_t kxtools_permission_get() {
  return shell.permission;
}

int32_t kxtools_permission_switch(kxtools_cmd_context* ctx) {
  if (ctx == nullptr) {
    KXTOOLS_ERR("ctx is NULL!\n");
    return -1;
  }
  if (ctx->argc != 1) {
    KXTOOLS_ERR("argc %u error!\n", ctx->argc);
    kx_error_print("kxtool: 'su' takes one word, the access word\n");
    return -1;
  }
  if (ctx->argp == nullptr || ctx->argp[0] == nullptr) {
    KXTOOLS_ERR("argp is NULL!\n");
    return -1;
  }
  if (strcmp(ctx->argp[0], ACCESS_WORD) != 0) {
    KXTOOLS_ERR("argp %s error!\n", ctx->argp[0]);
    kx_error_print("kxtool: '%s' is not the access word of 'su'\n", ctx->argp[0]);
    return -1;
  }
  kx_print("Warning: You have entered super user mode, operations may cause system anomalies!!!\n\n\n");
  shell.permission = LEVEL_SUPER;
  if (kxtools_prompt_set(ctx->dev_info.sbdf) != 0) {
    KXTOOLS_ERR("kxtools_prompt_set failed!\n");
    return -1;
  }
  return 0;
}

int32_t kxtools_permission_logout(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->argc != 0) {
    KXTOOLS_ERR("para is err!\n");
    kx_error_print("kxtool: 'logout' takes no words\n");
    return -1;
  }
  shell.permission = LEVEL_USER;
  if (kxtools_prompt_set(ctx->dev_info.sbdf) != 0) {
    KXTOOLS_ERR("kxtools_prompt_set failed!\n");
    return -1;
  }
  return 0;
}

int32_t kxtools_quit(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->argc != 0) {
    KXTOOLS_ERR("para is err!\n");
    kx_error_print("kxtool: 'quit' takes no words\n");
    return -1;
  }
  shell.running = false;
  return 0;
}

int32_t kxtools_sbdf_switch(kxtools_cmd_context* /*ctx*/) {
  bool quit = false;
  if (kxtools_dev_init(nullptr, &quit) != 0) {
    KXTOOLS_ERR("kxtools_dev_init failed\n");
    return -1;
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
    KXTOOLS_ERR("kxtools_compat_version_init failed\n");
    return -1;
  }
  if (kxtools_module_dev_init() != 0) {
    KXTOOLS_ERR("kxtools_module_dev_init failed\n");
    return -1;
  }
  return 0;
}

uint32_t kxtools_is_interactive_get() {
  return shell.interactive ? 1 : 0;
}

void kxtools_interactive_set() {
  shell.interactive = true;
  setvbuf(stdin, nullptr, _IONBF, 0);
}

void kxtools_child_input_detach() {
  if (!shell.interactive || isatty(STDIN_FILENO) != 0) {
    return;
  }
  const kx_unique_fd empty(open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (!empty || dup2(empty.get(), STDIN_FILENO) < 0) {
    close(STDIN_FILENO);
  }
}

int32_t kxtools_shell_run() {
  linenoiseSetCompletionCallback(cmd_completion);
  int32_t result = 0;
  while (shell.running) {
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
