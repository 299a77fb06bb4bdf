#include "ask.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/clock.h"
#include "common/report.h"
#include "common/signals.h"
#include "value_pipe.h"

namespace {

constexpr uint64_t GRACE_MS = 1000;  // for a process to end at its next safe point
constexpr int LOOK_MS = 100;
constexpr size_t MESSAGES_MAX = 100;
constexpr size_t MESSAGE_SIZE_MAX = 300;

/// The process that asks one card, and what came of it.
struct asker {
  explicit asker(value* in) : group(in), receiver(in) {}
  value* group;
  value_receiver receiver;
  pid_t pid = -1;
  kx_unique_fd values;
  kx_unique_fd lines;
  std::string text;          // of the libraries' lines
  uint64_t heard_ms = 0;     // when it told something last
  uint64_t ended_ms = 0;     // when it was told to end; 0: not yet
  std::string given_up_why;  // "" unless it was
};

[[noreturn]] void child_run(const card_place& place, const collect_request& request, int values, int lines,
                            pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) {
    _exit(1);
  }
  dup2(lines, STDOUT_FILENO);
  dup2(lines, STDERR_FILENO);
  value_sender out(values);
  card_collect(place, request, &out);
  out.flush();
  fflush(stdout);
  _exit(0);
}

bool pipe_make(kx_unique_fd (&ends)[2]) {
  int pair[2];
  if (pipe2(pair, O_CLOEXEC) != 0) {
    return false;
  }
  ends[0].reset(pair[0]);
  ends[1].reset(pair[1]);
  return true;
}

bool asker_start(const card_place& place, const collect_request& request, asker* one) {
  kx_unique_fd values[2];
  kx_unique_fd lines[2];
  if (!pipe_make(values) || !pipe_make(lines)) {
    return false;
  }
  fflush(nullptr);
  const pid_t parent = getpid();
  one->pid = fork();
  if (one->pid == 0) {
    child_run(place, request, values[1].get(), lines[1].get(), parent);
  }
  one->values = std::move(values[0]);
  one->lines = std::move(lines[0]);
  one->heard_ms = kx_now_ms();
  return one->pid > 0;
}

bool is_running(const asker& one) {
  return one.values || one.lines;
}

// One read of what waits; the end of the pipe closes it.
void values_read(asker* one) {
  char bytes[16384];
  const ssize_t length = read(one->values.get(), bytes, sizeof bytes);
  if (length > 0) {
    one->receiver.take(bytes, static_cast<size_t>(length));
    one->heard_ms = kx_now_ms();
  } else if (length == 0 || errno != EINTR) {
    one->values.reset();
  }
}

void lines_read(asker* one) {
  char bytes[4096];
  const ssize_t length = read(one->lines.get(), bytes, sizeof bytes);
  if (length > 0) {
    one->text.append(bytes, one->text.size() < MESSAGES_MAX * MESSAGE_SIZE_MAX ? static_cast<size_t>(length) : 0);
  } else if (length == 0 || errno != EINTR) {
    one->lines.reset();
  }
}

void pipes_wait(std::vector<asker>* askers) {
  std::vector<struct pollfd> waited;
  for (const asker& one : *askers) {
    waited.push_back({one.values ? one.values.get() : -1, POLLIN, 0});
    waited.push_back({one.lines ? one.lines.get() : -1, POLLIN, 0});
  }
  if (poll(waited.data(), waited.size(), LOOK_MS) <= 0) {
    return;
  }
  for (size_t i = 0; i < askers->size(); ++i) {
    if (waited[2 * i].revents != 0) {
      values_read(&(*askers)[i]);
    }
    if (waited[2 * i + 1].revents != 0) {
      lines_read(&(*askers)[i]);
    }
  }
}

// First by a signal that lets it give back what it took, then by one that does not.
void end_further(asker* one, std::string why) {
  const uint64_t now = kx_now_ms();
  if (one->ended_ms == 0) {
    one->ended_ms = now;
    one->given_up_why = std::move(why);
    kill(one->pid, SIGTERM);
  } else if (now - one->ended_ms > GRACE_MS) {
    kill(one->pid, SIGKILL);
  }
}

void limits_check(std::vector<asker>* askers, uint32_t limit_s) {
  for (asker& one : *askers) {
    if (!is_running(one)) {
      continue;
    }
    if (kx_signal_guard::raised() != 0) {
      end_further(&one, "interrupted");
    } else if (one.ended_ms != 0 || kx_now_ms() - one.heard_ms > uint64_t{limit_s} * 1000) {
      end_further(&one, "no answer within " + std::to_string(limit_s) + " s");
    }
  }
}

bool any_running(const std::vector<asker>& askers) {
  for (const asker& one : askers) {
    if (is_running(one)) {
      return true;
    }
  }
  return false;
}

/// Lines are cut at a length; the rest of a line too long is left out.
void messages_add(const asker& one, value_sink* out) {
  std::string_view rest = one.text;
  out->begin(term::messages);
  for (size_t count = 0; !rest.empty() && count < MESSAGES_MAX; ++count) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (!line.empty()) {
      out->text(term::message, line.substr(0, MESSAGE_SIZE_MAX));
    }
  }
  out->end();
}

// What the process could not say itself any more.
void failure_add(const asker& one, const std::string& why, bool is_short) {
  value_builder out(one.group);
  if (one.group->find(term::answers) == nullptr) {
    out.flag(term::answers, false);
    if (is_short) {
      out.text(term::problem, why);
    } else {
      out.begin(term::errors);
      out.text(term::error, why);
      out.end();
    }
  }
  if (!one.text.empty()) {
    messages_add(one, &out);
  }
}

std::string end_text(int status) {
  if (WIFSIGNALED(status)) {
    return std::string("its process was ended by signal ") + std::to_string(WTERMSIG(status));
  }
  return "its process ended with status " + std::to_string(WEXITSTATUS(status));
}

void asker_finish(const asker& one, bool is_short) {
  int status = 0;
  while (one.pid > 0 && waitpid(one.pid, &status, 0) < 0 && errno == EINTR) {
  }
  const std::string why = one.pid <= 0               ? "no process can be made to ask it"
                          : one.given_up_why.empty() ? end_text(status)
                                                     : one.given_up_why;
  failure_add(one, why, is_short);
}

}  // namespace

int cards_ask(const std::vector<card_place>& places, const ask_options& options, term one_term, value* list) {
  const kx_signal_guard guard;
  signal(SIGCHLD, SIG_DFL);
  std::vector<asker> askers;
  askers.reserve(places.size());
  list->children.reserve(places.size());
  for (const card_place& place : places) {
    list->children.push_back({one_term, 0, {}, {}});
    asker& one = askers.emplace_back(&list->children.back());
    value_builder labels(one.group);
    labels.text(term::device, place.device);
    labels.text(term::address, place.address);
    asker_start(place, options.request, &one);
  }
  while (any_running(askers)) {
    pipes_wait(&askers);
    limits_check(&askers, options.limit_s);
  }
  const bool is_short = (options.request.sections & SECTION_SHORT) != 0;
  for (const asker& one : askers) {
    asker_finish(one, is_short);
  }
  return kx_signal_guard::raised();
}
