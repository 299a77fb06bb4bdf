// Why the micro-code dropped packets: one statistics counter for each drop point.
#include <iterator>
#include <span>

#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_cmd.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_mcode.h"
#include "dpp_memory/dpp_stat.h"
#include "qlix_comm/check.h"

namespace {

struct drop_point {
  uint32_t index;
  char reason[256];
};

constexpr drop_point drop_points_v1[] = {
#include "mcode_drop_v1.inc"
};
constexpr drop_point drop_points_v2[] = {
#include "mcode_drop_v2.inc"
};

constexpr uint32_t mode_clear = 1;  // the counters are read away

constexpr bool is_ascending(std::span<const drop_point> points) {
  for (size_t i = 1; i < points.size(); ++i) {
    if (points[i - 1].index >= points[i].index) {
      return false;
    }
  }
  return true;
}
static_assert(std::size(drop_points_v1) == 94 && is_ascending(drop_points_v1));
static_assert(std::size(drop_points_v2) == 112 && is_ascending(drop_points_v2));
static_assert(drop_points_v1[0].index == 0x11D02 && std::end(drop_points_v1)[-1].index == 0x11E32);
static_assert(drop_points_v2[0].index == 0x11D02 && std::end(drop_points_v2)[-1].index == 0x11DE6);

std::span<const drop_point> points_of(uint32_t version) {
  return version == 1 ? std::span<const drop_point>(drop_points_v1) : drop_points_v2;
}

}  // namespace

// The checks name the function that was called in place of this one.
uint32_t dpp_mcode_drop_stat_walk(const char* function, uint32_t dev_id, uint32_t mode, uint32_t version) {
  const DppCmdArgs words = {.num = 3, .value = {dev_id, mode, version}};
  QLIX_COMM_PASS(dpp_cmd_ranges_check(*dpp_cmd_find("mcode_drop_stat"), words, {__FILE_NAME__, __LINE__, function}));
  for (const drop_point& point : points_of(version)) {
    uint32_t pair[2] = {};
    const uint32_t code = dpp_stat_ppu_cnt_get(dev_id, DPP_STAT_WIDTH_64, point.index, mode, pair);
    if (code != QLIX_COMM_OK) {
      return qlix_comm_detail::report_call({__FILE_NAME__, __LINE__, function}, code, "dpp_stat_ppu_cnt_get");
    }
    if (mode != mode_clear && (pair[0] != 0 || pair[1] != 0)) {
      QLIX_COMM_PRINT("v%u drop stat index[0x%08x] value[0x%08x,0x%08x] reason: %s\n", version, point.index, pair[0],
                      pair[1], point.reason);
    }
  }
  return QLIX_COMM_OK;
}

uint32_t mcode_drop_stat(uint32_t dev_id, uint32_t mode, uint32_t version) {
  return dpp_mcode_drop_stat_walk(__func__, dev_id, mode, version);
}

uint32_t mcode_dropstat(uint32_t dev_id, uint32_t version) {
  uint64_t total = 0;
  uint32_t counting = 0;
  for (const drop_point& point : points_of(version)) {
    uint32_t pair[2] = {};
    QLIX_COMM_CALL(dpp_stat_ppu_cnt_get, dev_id, DPP_STAT_WIDTH_64, point.index, 0, pair);
    const uint64_t drops = uint64_t{pair[0]} << 32 | pair[1];
    total += drops;
    counting += drops != 0 ? 1 : 0;
  }
  QLIX_COMM_PRINT("v%u drop points: %u, with drops: %u, total drop: %llu\n", version,
                  static_cast<uint32_t>(points_of(version).size()), counting, static_cast<unsigned long long>(total));
  return QLIX_COMM_OK;
}
