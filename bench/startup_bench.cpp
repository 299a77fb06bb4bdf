// Start-up: a whole process from fork to exit, beside a tool of the same kind. Asking for the version touches no
// device.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace {

// Runs the program once with its output thrown away. False when it cannot be started or fails.
bool run_once(const char* path, const char* option, const posix_spawn_file_actions_t& actions) {
  std::string words[] = {path, option};
  char* argv[] = {words[0].data(), words[1].data(), nullptr};
  pid_t pid = 0;
  int status = 0;
  return posix_spawnp(&pid, path, &actions, nullptr, argv, environ) == 0 && waitpid(pid, &status, 0) == pid &&
         status == 0;
}

void measure(benchmark::State& state, const std::string& path, const char* option) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  for (auto _ : state) {
    if (!run_once(path.c_str(), option, actions)) {
      state.SkipWithError((path + " is not there or failed").c_str());
      break;
    }
  }
  posix_spawn_file_actions_destroy(&actions);
}

void start_kxtool(benchmark::State& state) {
  measure(state, KX_TOOL_PATH, "-v");
}
BENCHMARK(start_kxtool)->UseRealTime()->Unit(benchmark::kMicrosecond);

void start_kxreport(benchmark::State& state) {
  measure(state, KX_REPORT_PATH, "-v");
}
BENCHMARK(start_kxreport)->UseRealTime()->Unit(benchmark::kMicrosecond);

void start_ethtool(benchmark::State& state) {
  measure(state, "ethtool", "--version");
}
BENCHMARK(start_ethtool)->UseRealTime()->Unit(benchmark::kMicrosecond);

void start_nothing(benchmark::State& state) {
  measure(state, "true", "");
}
BENCHMARK(start_nothing)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
