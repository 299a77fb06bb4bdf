// Finding a command by name in the driver's table, beside a hash map that was filled at start, beside a walk in order.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string_view>
#include <unordered_map>

#include "dpp_diag/dpp_cmd.h"

namespace {

constexpr uint32_t step = 37;  // a stride through the table, so that no name is found twice in a row

using find_fn = const DppCmdEntry* (*)(const char* name);

void measure(benchmark::State& state, find_fn find) {
  uint32_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(find(dpp_cmd_get(at)->name));
    at = (at + step) % DPP_CMD_NUM;
  }
}

void find_in_table(benchmark::State& state) {
  measure(state, dpp_cmd_find);
}
BENCHMARK(find_in_table);

void find_in_map(benchmark::State& state) {
  static const auto map = [] {
    std::unordered_map<std::string_view, const DppCmdEntry*> made;
    for (uint32_t i = 0; i < DPP_CMD_NUM; ++i) {
      made.try_emplace(dpp_cmd_get(i)->name, dpp_cmd_get(i));
    }
    return made;
  }();
  measure(state, [](const char* name) -> const DppCmdEntry* {
    const auto found = map.find(name);
    return found == map.end() ? nullptr : found->second;
  });
}
BENCHMARK(find_in_map);

void find_in_order(benchmark::State& state) {
  measure(state, [](const char* name) -> const DppCmdEntry* {
    for (uint32_t i = 0; i < DPP_CMD_NUM; ++i) {
      if (strcmp(dpp_cmd_get(i)->name, name) == 0) {
        return dpp_cmd_get(i);
      }
    }
    return nullptr;
  });
}
BENCHMARK(find_in_order);

}  // namespace

BENCHMARK_MAIN();
