// Runs a sub-command in a child process of its own.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <optional>

#include "common/report.h"
#include "common/signals.h"
#include "kxtools/session.h"
#include "options.h"
#include "sub_commands.h"

namespace {

constexpr uint32_t WORDS_MAX = 50;
constexpr uint32_t ARGC_LIMIT = 49;
constexpr int STATUS_FAILED = 1;
constexpr int STATUS_INTERRUPTED = 130;
constexpr int STATUS_SIGNAL = 128;  // plus its number

// What goes on from the parent to the child. SIGINT does not: a terminal sends it to both.
constexpr int PASSED_ON[] = {SIGTERM, SIGHUP, SIGQUIT};
std::atomic<pid_t> running_child = 0;  // 0 once its number may be another process's
std::atomic<int> passed_on = 0;        // the last signal that went on

void on_parent_signal(int number) {
  const int error = errno;
  passed_on = number;
  if (const pid_t child = running_child; child != 0) {
    kill(child, number);
  }
  errno = error;
}

// Of a command that sets up no treatment of its own: it ends at once, and not with the status of a success.
void on_interrupt(int) {
  constexpr char LINE[] = "kxtool: interrupted\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, LINE, sizeof LINE - 1);
  _exit(STATUS_INTERRUPTED);
}

// With all signals held back: none falls between the fork and the treatment.
void child_signals_set(pid_t parent) {
  if (signal(SIGINT, on_interrupt) == SIG_IGN) {
    signal(SIGINT, SIG_IGN);  // a job in the background stays deaf
  }
  // A parent that is killed passes nothing on; its child ends as if it had.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) {
    raise(SIGTERM);
  }
}

[[noreturn]] void child_run(std::optional<kx_signal_hold>* hold, pid_t parent, uint32_t count, char** words) {
  child_signals_set(parent);
  hold->reset();
  kxtools_child_input_detach();
  kxtool_init(KXTOOL_OPTIONS, count, words);
}

// Waits without taking the child's number away, so that a signal never goes on to another process.
void end_wait(pid_t child) {
  siginfo_t info = {};
  while (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
  running_child = 0;
}

int32_t child_wait(std::optional<kx_signal_hold>* hold, pid_t child) {
  passed_on = 0;
  running_child = child;
  signal(SIGINT, SIG_IGN);
  const kx_signal_treatment treatment(PASSED_ON, on_parent_signal, SA_RESTART);
  hold->reset();
  end_wait(child);
  signal(SIGINT, SIG_DFL);
  int status = 0;
  pid_t done = 0;
  do {
    done = waitpid(child, &status, 0);
  } while (done < 0 && errno == EINTR);
  if (done != child) {
    KXTOOLS_ERR("how the command ended is not known\n");
    return STATUS_FAILED;
  }
  if (WIFSIGNALED(status)) {
    KXTOOLS_ERR("the command was ended by signal %d\n", WTERMSIG(status));
    return STATUS_SIGNAL + WTERMSIG(status);
  }
  return (status >> 8) & 0xFF;
}

}  // namespace

int32_t kxtool_cmd(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->argp == nullptr || ctx->argc >= ARGC_LIMIT) {
    return KXTOOLS_ERR("ctx is NULL\n");
  }
  char program[] = "kxtool";
  char* words[WORDS_MAX + 1] = {program, const_cast<char*>(ctx->cmd->name)};
  for (uint32_t i = 0; i < ctx->argc; ++i) {
    words[2 + i] = ctx->argp[i];
  }
  // What is buffered now must not be printed a second time by the child.
  fflush(stdout);
  fflush(stderr);
  signal(SIGCHLD, SIG_DFL);  // one that was ignored takes the child's status away
  std::optional<kx_signal_hold> hold(std::in_place);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) {
    child_run(&hold, parent, ctx->argc + 2, words);
  }
  if (child < 0) {
    KXTOOLS_ERR("fork failed.\n");
    return 0;  // deliberately a success
  }
  const int32_t status = child_wait(&hold, child);
  // A shell that was told to end does so once its command has; one-shot, the command's own status says more.
  if (passed_on != 0 && kxtools_is_interactive_get() != 0) {
    raise(passed_on);
  }
  return status;
}
