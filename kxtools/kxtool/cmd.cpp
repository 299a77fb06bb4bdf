// Runs a sub-command in a child process of its own.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "common/report.h"
#include "common/signal_hold.h"
#include "kxtools/shell.h"
#include "options.h"
#include "sub_commands.h"

namespace {

constexpr uint32_t WORDS_MAX = 50;
constexpr uint32_t ARGC_LIMIT = 49;
constexpr int STATUS_INTERRUPTED = 130;

// Of a command that sets up no treatment of its own: it ends at once, and not with the status of a success.
void on_interrupt(int) {
  constexpr char LINE[] = "kxtool: interrupted\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, LINE, sizeof LINE - 1);
  _exit(STATUS_INTERRUPTED);
}

void child_interrupt_set() {
  if (signal(SIGINT, on_interrupt) == SIG_IGN) {
    signal(SIGINT, SIG_IGN);  // a job in the background stays deaf
  }
}

[[noreturn]] void child_run(uint32_t count, char** words) {
  kxtools_child_input_detach();
  kxtool_init(KXTOOL_OPTIONS, count, words);
}

int32_t child_wait(pid_t child) {
  int status = 0;
  pid_t done = 0;
  do {
    done = waitpid(child, &status, 0);
  } while (done < 0 && errno == EINTR);
  signal(SIGINT, SIG_DFL);
  if (done == child && WIFSIGNALED(status)) {
    KXTOOLS_ERR("the command was ended by signal %d\n", WTERMSIG(status));
  }
  return (status >> 8) & 0xFF;
}

}  // namespace

int32_t kxtool_cmd(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->argp == nullptr || ctx->argc >= ARGC_LIMIT) {
    KXTOOLS_ERR("ctx is NULL\n");
    return -1;
  }
  char program[] = "kxtool";
  char* words[WORDS_MAX + 1] = {program, const_cast<char*>(ctx->cmd->name)};
  for (uint32_t i = 0; i < ctx->argc; ++i) {
    words[2 + i] = ctx->argp[i];
  }
  // What is buffered now must not be printed a second time by the child.
  fflush(stdout);
  fflush(stderr);
  pid_t child = -1;
  {
    // No interrupt falls between the fork and the moment when each side has its own treatment of it.
    const kx_signal_hold hold(SIGINT);
    child = fork();
    if (child > 0) {
      signal(SIGINT, SIG_IGN);
    } else if (child == 0) {
      child_interrupt_set();
    }
  }
  if (child == 0) {
    child_run(ctx->argc + 2, words);
  }
  if (child < 0) {
    KXTOOLS_ERR("fork failed.\n");
    return 0;  // deliberately a success
  }
  return child_wait(child);
}
