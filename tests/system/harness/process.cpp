#include "system/process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <utility>

namespace kx_system {

namespace {

using Clock = std::chrono::steady_clock;

/// A program that takes longer hangs, also on a machine with much other work.
constexpr milliseconds hang_limit(900000);

milliseconds left_until(Clock::time_point end) {
  return std::max(milliseconds(0), std::chrono::duration_cast<milliseconds>(end - Clock::now()));
}

std::string proc_file(pid_t pid, const std::string& name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

/// Looking for leaks takes a third of a sanitized run's time: of the command lines every fourth is looked at, always
/// the same ones, and every shell.
bool leaves_leaks_alone(const Command& command) {
  std::string line;
  for (const std::string& word : command.words) {
    line += word + " ";
  }
  return !line.empty() && std::hash<std::string>()(line) % 4 != 0;
}

void close_fd(int& fd) {
  if (fd >= 0) {
    close(std::exchange(fd, -1));
  }
}

/// Appends what `fd` has; closes it at its end.
void drain(int& fd, std::string& text) {
  char block[16384];
  ssize_t length = read(fd, block, sizeof block);
  if (length > 0) {
    text.append(block, static_cast<size_t>(length));
  } else if (length == 0 || (errno != EAGAIN && errno != EINTR)) {
    close_fd(fd);  // a terminal without a process on its other side gives EIO
  }
}

}  // namespace

std::vector<std::string> Result::log_of(std::string_view prefix) const {
  std::vector<std::string> lines;
  std::copy_if(log.begin(), log.end(), std::back_inserter(lines),
               [&](const std::string& line) { return line.starts_with(prefix); });
  return lines;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> words_of(std::string_view line) {
  std::istringstream stream{std::string(line)};
  return {std::istream_iterator<std::string>(stream), {}};
}

Command script(const std::string& text, const std::string& card) {
  return {.card = card,
          .words = {"-c", text},
          .program = "/bin/sh",
          .environment = {std::string("KXTOOL=") + KX_SYSTEM_KXTOOL}};
}

Process::Process(const Command& command) : program_(command.program) {
  folder_.write("card.json", command.card);
  spawn(command);
}

Process::~Process() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close_streams();
}

void Process::spawn(const Command& command) {
  std::vector<std::string> words = {KX_SYSTEM_KXVCARD, "--card", folder_.path() + "/card.json", "--log",
                                    folder_.path() + "/requests.log"};
  if (!command.state.empty()) {
    words.insert(words.end(), {"--state", command.state});
  }
  for (const auto& [option, variable] : {std::pair("--room", room_variable), std::pair("--trap", trap_variable)}) {
    if (const char* value = getenv(variable); value != nullptr) {
      words.insert(words.end(), {option, value});
    }
  }
  words.insert(words.end(), {"--", command.program});
  words.insert(words.end(), command.words.begin(), command.words.end());
  std::vector<char*> pointers;
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);

  int in[2] = {-1, -1}, out[2] = {-1, -1}, err[2] = {-1, -1};
  if (command.terminal) {
    const struct winsize size = {.ws_row = 0, .ws_col = command.columns, .ws_xpixel = 0, .ws_ypixel = 0};
    pid_ = forkpty(&output_, nullptr, nullptr, &size);
    input_ = output_;
  } else {
    if (command.input_is_file) {
      std::string path = folder_.write("input", command.input);
      in[0] = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    } else if (pipe2(in, O_CLOEXEC) == 0) {
      pending_ = command.input;
    }
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
      perror("pipe2");
      abort();
    }
    pid_ = fork();
  }
  if (pid_ == 0) {
    if (!command.terminal) {
      dup2(in[0], 0);
      dup2(out[1], 1);
      dup2(err[1], 2);
    }
    if (const char* trap = getenv(trap_variable); trap != nullptr && strcmp(trap, "ptrace") == 0) {
      setenv("LSAN_OPTIONS", traced_leak_options, 1);
    }
    if (leaves_leaks_alone(command)) {
      setenv("ASAN_OPTIONS", "detect_leaks=0", 0);
    }
    for (const std::string& setting : command.environment) {
      putenv(const_cast<char*>(setting.c_str()));
    }
    execv(pointers[0], pointers.data());
    perror(pointers[0]);
    _exit(127);
  }
  close_fd(in[0]);
  close_fd(out[1]);
  close_fd(err[1]);
  if (!command.terminal) {
    input_ = in[1];
    output_ = out[0];
    error_ = err[0];
    if (input_ >= 0) {
      fcntl(input_, F_SETFL, O_NONBLOCK);
    }
  }
}

/// Moves bytes between this process and the streams until something arrived, once. False when all streams have ended.
bool Process::pump(milliseconds limit) {
  if (input_ >= 0 && input_ != output_ && input_ends_ && pending_.empty()) {
    close_fd(input_);
  }
  bool writes = input_ >= 0 && !pending_.empty();
  struct pollfd set[] = {{output_, POLLIN, 0}, {error_, POLLIN, 0}, {writes ? input_ : -1, POLLOUT, 0}};
  if (output_ < 0 && error_ < 0) {
    return false;
  }
  poll(set, 3, static_cast<int>(limit.count()));
  if (set[0].revents != 0) {
    drain(output_, result_.out);
    input_ = input_ == set[0].fd ? output_ : input_;
  }
  if (set[1].revents != 0) {
    drain(error_, result_.err);
  }
  if (set[2].revents != 0 && input_ >= 0) {
    ssize_t taken = ::write(input_, pending_.data(), pending_.size());
    if (taken > 0) {
      pending_.erase(0, static_cast<size_t>(taken));
    } else if (errno != EAGAIN) {
      pending_.clear();  // nobody reads any more
    }
  }
  return true;
}

void Process::send(std::string_view text) {
  pending_ += text;
  pump(milliseconds(0));
}

bool Process::expect(std::string_view text, milliseconds limit) {
  Clock::time_point end = Clock::now() + limit;
  for (;;) {
    size_t found = result_.out.find(text, matched_);
    if (found != std::string::npos) {
      matched_ = found + text.size();
      return true;
    }
    if (left_until(end) == milliseconds(0) || !pump(left_until(end))) {
      return false;
    }
  }
}

std::string Process::log_text() const {
  return Folder::read(folder_.path() + "/requests.log");
}

bool Process::expect_log(std::string_view text, milliseconds limit) {
  Clock::time_point end = Clock::now() + limit;
  while (log_text().find(text) == std::string::npos) {
    if (left_until(end) == milliseconds(0)) {
      return false;
    }
    pump(milliseconds(5));
  }
  return true;
}

std::vector<pid_t> Process::tools() const {
  // Only the processes below kxvcard: another test may run a tool at the same time.
  std::vector<pid_t> family = {pid_};
  for (size_t i = 0; i < family.size(); ++i) {
    // All of them start others from their first thread.
    std::istringstream children(Folder::read(proc_file(family[i], "task/" + std::to_string(family[i]) + "/children")));
    std::copy(std::istream_iterator<pid_t>(children), {}, std::back_inserter(family));
  }
  std::error_code ignored;
  const std::filesystem::path tool = std::filesystem::canonical(program_, ignored);
  std::erase_if(family,
                [&](pid_t pid) { return std::filesystem::read_symlink(proc_file(pid, "exe"), ignored) != tool; });
  return family;
}

void Process::signal(int number) const {
  kill(pid_, number);
}

void Process::close_streams() {
  if (input_ != output_) {
    close_fd(input_);
  }
  input_ = -1;
  close_fd(output_);
  close_fd(error_);
}

Result Process::wait() {
  input_ends_ = true;
  Clock::time_point end = Clock::now() + hang_limit;
  int status = 0;
  pid_t ended = 0;
  while (ended == 0) {
    bool open = pump(std::min(left_until(end), milliseconds(20)));
    if (!open) {
      usleep(1000);
    }
    ended = waitpid(pid_, &status, WNOHANG);
    if (ended == 0 && left_until(end) == milliseconds(0)) {
      result_.timed_out = true;
      kill(pid_, SIGKILL);
      ended = waitpid(pid_, &status, 0);
    }
  }
  pid_ = -1;
  // What is still in the streams; a left-over process that holds them open does not hold the test.
  Clock::time_point drained = Clock::now() + milliseconds(500);
  while (left_until(drained) > milliseconds(0) && pump(left_until(drained))) {
  }
  close_streams();
  if (!result_.timed_out) {
    result_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  result_.log = lines_of(log_text());
  return result_;
}

Result run(const Command& command) {
  return Process(command).wait();
}

}  // namespace kx_system
