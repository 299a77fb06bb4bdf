#include "kxtools/session.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "common/report.h"
#include "common/unique_fd.h"

namespace {

constexpr size_t PROMPT_SIZE = 100;

struct session_state {
  char prompt[PROMPT_SIZE] = "[kxtool]>";
  uint32_t permission = KXTOOLS_LEVEL_USER;
  bool interactive = false;
};

constinit session_state session = {};

}  // namespace

int32_t kxtools_prompt_set(const char* sbdf) {
  if (sbdf == nullptr) {
    return KXTOOLS_ERR("sbdf is NULL!\n");
  }
  const bool super = session.permission == KXTOOLS_LEVEL_SUPER;
  snprintf(session.prompt, sizeof session.prompt, "[%skxtool%s%s]%s", super ? "root@" : "", sbdf[0] == '\0' ? "" : ":",
           sbdf, super ? "#" : ">");
  return 0;
}

const char* kxtools_prompt_get() {
  return session.prompt;
}

uint32_t kxtools_permission_get() {
  return session.permission;
}

void kxtools_permission_set(uint32_t level) {
  session.permission = level;
}

uint32_t kxtools_is_interactive_get() {
  return session.interactive ? 1 : 0;
}

void kxtools_interactive_set() {
  session.interactive = true;
  setvbuf(stdin, nullptr, _IONBF, 0);
}

void kxtools_child_input_detach() {
  if (!session.interactive || isatty(STDIN_FILENO) != 0) {
    return;
  }
  const kx_unique_fd empty(open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (!empty || dup2(empty.get(), STDIN_FILENO) < 0) {
    close(STDIN_FILENO);
  }
}
