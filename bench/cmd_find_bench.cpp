// Finding a command by name in the driver's table, beside a hash map that was filled at start, and a walk in order.
#include <string_view>
#include <unordered_map>

#include "dpp_diag/dpp_cmd.h"
#include "side_by_side.h"

namespace {

constexpr uint32_t STEP = 37;  // a stride through the table, so that no name is found twice in a row
constexpr uint32_t FINDS = 20000;
constexpr int ROUNDS = 21;

using NameMap = std::unordered_map<std::string_view, const DppCmdEntry*>;

NameMap map_make() {
  NameMap map;
  for (uint32_t i = 0; i < DPP_CMD_NUM; ++i) {
    map.try_emplace(dpp_cmd_get(i)->name, dpp_cmd_get(i));
  }
  return map;
}

const DppCmdEntry* find_in_order(const char* name) {
  for (uint32_t i = 0; i < DPP_CMD_NUM; ++i) {
    if (std::strcmp(dpp_cmd_get(i)->name, name) == 0) {
      return dpp_cmd_get(i);
    }
  }
  return nullptr;
}

template <typename Find>
double find_time(Find find) {
  uint32_t at = 0;
  bool all = true;
  const double time = side_by_side::time_of([&] {
    for (uint32_t i = 0; i < FINDS; ++i) {
      all = all && find(dpp_cmd_get(at)->name) != nullptr;
      at = (at + STEP) % DPP_CMD_NUM;
    }
  });
  side_by_side::must(all, "a command was not found");
  return time / FINDS;
}

}  // namespace

int main() {
  const NameMap map = map_make();
  side_by_side::samples table, hash, walk;
  for (int round = 0; round < ROUNDS; ++round) {
    table.push_back(find_time(dpp_cmd_find));
    hash.push_back(find_time([&map](const char* name) { return map.find(name)->second; }));
    walk.push_back(find_time(find_in_order));
  }
  side_by_side::row("driver command by name", "ns", table, "hash map, filled at start", hash, 1.0);
  side_by_side::row("driver command by name", "ns", table, "walk in order", walk, side_by_side::NO_LIMIT);
  return 0;
}
