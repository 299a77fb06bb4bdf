// Why the micro-code dropped packets: one statistics counter for each drop point.
#include <algorithm>

#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_cmd.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_mcode.h"
#include "dpp_memory/dpp_stat.h"
#include "qlix_comm/check.h"

namespace {

struct drop_point {
  uint32_t index[2];  // of the counter, by version from 1 on; 0: this version has no such point
  char reason[256];
};

constexpr drop_point DROP_POINTS[] = {
#include "mcode_drop.inc"
};

constexpr uint32_t MODE_CLEAR = 1;  // the counters are read away

constexpr uint32_t index_of(const drop_point& point, uint32_t version) {
  return point.index[version - 1];
}

constexpr uint32_t points_num(uint32_t version) {
  uint32_t num = 0;
  for (const drop_point& point : DROP_POINTS) {
    num += index_of(point, version) != 0 ? 1 : 0;
  }
  return num;
}

/// The highest index of a version; 0 when they do not ascend.
constexpr uint32_t last_index(uint32_t version) {
  uint32_t last = 0;
  for (const drop_point& point : DROP_POINTS) {
    const uint32_t index = index_of(point, version);
    if (index != 0 && index <= last) {
      return 0;
    }
    last = std::max(last, index);
  }
  return last;
}
static_assert(points_num(1) == 94 && index_of(DROP_POINTS[0], 1) == 0x11D02 && last_index(1) == 0x11E32);
static_assert(points_num(2) == 112 && index_of(DROP_POINTS[0], 2) == 0x11D02 && last_index(2) == 0x11DE6);

}  // namespace

// The checks name the function that was called in place of this one.
uint32_t dpp_mcode_drop_stat_walk(const char* function, uint32_t dev_id, uint32_t mode, uint32_t version) {
  const DppCmdArgs words = {.num = 3, .value = {dev_id, mode, version}};
  QLIX_COMM_PASS(dpp_cmd_ranges_check(*dpp_cmd_find("mcode_drop_stat"), words, {__FILE_NAME__, __LINE__, function}));
  for (const drop_point& point : DROP_POINTS) {
    const uint32_t index = index_of(point, version);
    if (index == 0) {
      continue;
    }
    uint32_t pair[2] = {};
    const uint32_t code = dpp_stat_ppu_cnt_get(dev_id, DPP_STAT_WIDTH_64, index, mode, pair);
    if (code != QLIX_COMM_OK) {
      return qlix_comm_detail::report_call({__FILE_NAME__, __LINE__, function}, code, "dpp_stat_ppu_cnt_get");
    }
    if (mode != MODE_CLEAR && (pair[0] != 0 || pair[1] != 0)) {
      QLIX_COMM_PRINT("v%u drop stat index[0x%08x] value[0x%08x,0x%08x] reason: %s\n", version, index, pair[0], pair[1],
                      point.reason);
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
  for (const drop_point& point : DROP_POINTS) {
    if (index_of(point, version) == 0) {
      continue;
    }
    uint32_t pair[2] = {};
    QLIX_COMM_CALL(dpp_stat_ppu_cnt_get, dev_id, DPP_STAT_WIDTH_64, index_of(point, version), 0, pair);
    const uint64_t drops = uint64_t{pair[0]} << 32 | pair[1];
    total += drops;
    counting += drops != 0 ? 1 : 0;
  }
  QLIX_COMM_PRINT("v%u drop points: %u, with drops: %u, total drop: %llu\n", version, points_num(version), counting,
                  static_cast<unsigned long long>(total));
  return QLIX_COMM_OK;
}
