// Start-up: the processor time of a whole process from fork to exit, beside a tool of the same kind, beside a program
// that does nothing, and beside one that is linked and forks as the tool does and says one line. All of them start
// under the virtual card.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "side_by_side.h"

namespace {

using side_by_side::samples;

constexpr int ROUNDS = 41;
constexpr int STARTS = 10;  // a round

class OutputThrownAway {
 public:
  OutputThrownAway() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  }
  ~OutputThrownAway() {
    posix_spawn_file_actions_destroy(&actions_);
  }
  OutputThrownAway(const OutputThrownAway&) = delete;
  OutputThrownAway& operator=(const OutputThrownAway&) = delete;

  /// Microseconds of processor time that the program and its children took.
  double run(const char* path, const char* option) const {
    std::string words[] = {path, option};
    char* argv[] = {words[0].data(), words[1].data(), nullptr};
    pid_t pid = 0;
    int status = 0;
    struct rusage used = {};
    side_by_side::must(posix_spawnp(&pid, path, &actions_, nullptr, argv, environ) == 0 &&
                           wait4(pid, &status, 0, &used) == pid && status == 0,
                       path);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1e6 +
           static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
  }

 private:
  posix_spawn_file_actions_t actions_;
};

double start_time(const OutputThrownAway& spawn, const char* path, const char* option) {
  double time = 0;
  for (int i = 0; i < STARTS; ++i) {
    time += spawn.run(path, option);
  }
  return time / STARTS;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    char self[4096] = {};
    side_by_side::must(readlink("/proc/self/exe", self, sizeof self - 1) > 0, "where am I?");
    execl(KXVCARD, "kxvcard", "--", self, "--inside", nullptr);
    return 1;
  }
  side_by_side::must(strcmp(argv[1], "--inside") == 0, "bench_startup takes no words");
  const OutputThrownAway spawn;
  samples tool, report, ethtool, nothing, least;
  for (int round = 0; round < ROUNDS; ++round) {
    tool.push_back(start_time(spawn, KX_TOOL_PATH, "-v"));
    ethtool.push_back(start_time(spawn, "ethtool", "--version"));
    report.push_back(start_time(spawn, KX_REPORT_PATH, "-v"));
    nothing.push_back(start_time(spawn, "true", ""));
    least.push_back(start_time(spawn, KX_LEAST_PATH, ""));
  }
  side_by_side::row("kxtool -v", "us", tool, "ethtool --version", ethtool, 0.85);
  side_by_side::row("kxtool -v", "us", tool, "a static program that forks", least, side_by_side::NO_LIMIT);
  side_by_side::row("kxtool -v", "us", tool, "true", nothing, side_by_side::NO_LIMIT);
  side_by_side::row("kxreport -v", "us", report, "ethtool --version", ethtool, side_by_side::NO_LIMIT);
  return 0;
}
