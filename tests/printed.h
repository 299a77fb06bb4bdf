// Output as a value: of this process's streams, of a writer to a stream, of a command.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>

/// Standard output, caught as long as this lives. A test that failed has it, with the lines of the failure, on standard
/// error.
class caught_output {
 public:
  caught_output() {
    testing::internal::CaptureStdout();
  }
  caught_output(const caught_output&) = delete;
  caught_output& operator=(const caught_output&) = delete;
  ~caught_output() {
    const std::string text = testing::internal::GetCapturedStdout();
    if (testing::Test::HasFailure()) {
      fputs(text.c_str(), stderr);
    }
  }
  /// What was printed since the last call.
  static std::string take() {
    std::string text = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    return text;
  }
};

/// What `run` prints on standard output.
template <typename Run>
std::string printed(Run&& run) {
  const caught_output caught;
  run();
  return caught.take();
}

/// What `run` prints on standard error.
template <typename Run>
std::string told(Run&& run) {
  testing::internal::CaptureStderr();
  run();
  return testing::internal::GetCapturedStderr();
}

/// What `write` writes to the stream that it is given.
template <typename Write>
std::string written(Write&& write) {
  char* text = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&text, &size);
  write(out);
  fclose(out);
  std::string all(text, size);
  free(text);
  return all;
}

struct command_outcome {
  int status;  // 128 and the signal that ended it
  std::string out;
};

/// Runs a line of the system's shell.
inline command_outcome command_run(const std::string& line) {
  FILE* pipe = popen(line.c_str(), "re");
  std::string out;
  for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) {
    out += static_cast<char>(c);
  }
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out};
}

inline std::string sha256_of(const std::string& path) {
  return command_run("sha256sum " + path).out.substr(0, 64);
}
