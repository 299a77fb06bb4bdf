// Notices of the update: any sequence of bytes in any state. A notice may only do what the card was asked for.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fw_state.h"
#include "fwupdate/fwupdate.h"

namespace {

constexpr uint8_t STATES[] = {FW_STATE_WAIT, FW_STATE_WAIT,      FW_STATE_HEADER,
                              FW_STATE_DATA, FW_STATE_READ_BACK, FW_STATE_END};
constexpr fw_phase PHASES[] = {fw_phase::none, fw_phase::erasing, fw_phase::writing, fw_phase::reading,
                               fw_phase::ending};
constexpr uint32_t IMAGES = 3;
constexpr uint32_t SUM = 0x11223344;

void require(bool condition) {
  if (!condition) {
    abort();
  }
}

void take(fw_update* update, const uint8_t* notice, uint32_t length) {
  const uint8_t state = update->state;
  const fw_phase phase = update->phase;
  const uint8_t image = update->image;
  // Exactly as long as said, so that a byte read behind it is seen.
  const std::vector<uint8_t> exact(notice, notice + length);
  mts_fwupdate_recv_cb(exact.data(), length);
  require(update->image <= IMAGES);
  if (state != FW_STATE_WAIT) {
    require(update->state == state || update->state == FW_STATE_FAILED);
  }
  if (update->state == FW_STATE_FINISHED && state != FW_STATE_FINISHED) {
    require(state == FW_STATE_WAIT && phase == fw_phase::ending);
  }
  if (update->state == FW_STATE_DATA && state != FW_STATE_DATA) {
    require(phase == fw_phase::erasing);
  }
  if (update->image != image) {
    uint32_t sum = 0;
    memcpy(&sum, notice + 28, sizeof sum);
    require(phase == fw_phase::reading && length >= 32 && sum == SUM);
  }
}

}  // namespace

// Log and result lines are not what is looked at here: both streams are closed to the code under test.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  static std::vector<char*> words(*argv, *argv + *argc);
  static char mask[] = "-close_fd_mask=3";
  words.push_back(mask);
  words.push_back(nullptr);
  *argv = words.data();
  *argc = static_cast<int>(words.size()) - 1;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) {
    return 0;
  }
  fw_update update;
  fw_update_set(&update);
  update.header.fw_cnt = IMAGES;
  for (uint32_t i = 0; i < IMAGES; ++i) {
    update.header.images[i] = {0x41000 + i * 0x1000, i == 1 ? 0u : 8u, 2};
  }
  update.package.kind = FW_KIND_ONE_PARTITION;
  update.sum_sent = SUM;
  update.state = STATES[data[0] % sizeof STATES];
  update.phase = PHASES[data[1] % (sizeof PHASES / sizeof PHASES[0])];
  for (size_t at = 2; at < size;) {
    const size_t length = std::min<size_t>(data[at], size - at - 1);
    take(&update, data + at + 1, static_cast<uint32_t>(length));
    at += 1 + length;
  }
  fw_update_set(nullptr);
  return 0;
}
