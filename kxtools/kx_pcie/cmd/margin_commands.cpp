// margin and eye.
#include <cstring>
#include <vector>

#include "actions.h"
#include "common/nearest.h"
#include "common/progress_bar.h"
#include "common/report.h"
#include "common/signals.h"
#include "margin.h"
#include "margin_text.h"

namespace {

constexpr uint64_t DWELL_MAX_MS = 10000;
constexpr uint32_t DWELL_DEFAULT_MS = 50;
constexpr const char* ALL_LANES = "all";

uint32_t dwell_read(kxpcie_target& target, kxpcie_words words) {
  return static_cast<uint32_t>(
      kxpcie_number_or(target, words, 1, "milliseconds a step", DWELL_MAX_MS, DWELL_DEFAULT_MS));
}

// The lane that a word names, below `lanes`.
uint32_t lane_read(kxpcie_target& target, kxpcie_words words, uint32_t lanes) {
  if (lanes == 0) {
    KXPCIE_FAIL(target, "the link is down");
    return 0;
  }
  const uint64_t lane = kxpcie_number(target, words, 0, "lane", lanes - 1);
  if (kx_nearest nearest(words[0]); !target.good() && (nearest.offer(ALL_LANES), nearest.name() != nullptr)) {
    kx_error_print("kxtool: '%s' is no lane: did you mean '%s'?\n", words[0], ALL_LANES);
  }
  return static_cast<uint32_t>(lane);
}

// All lanes without a word or with the one for all.
void lanes_measure(kxpcie_target& target, kxpcie_words words, uint32_t dwell_ms, uint32_t* first,
                   std::vector<kxpcie_lane_margins>* margins) {
  kxpcie_margining margining(target);
  if (!target.good() || !margining.open()) {
    return;
  }
  const bool all = words.empty() || strcmp(words[0], ALL_LANES) == 0;
  *first = all ? 0 : lane_read(target, words, margining.lanes());
  const uint32_t last = all ? margining.lanes() : *first + 1;
  if (!target.good()) {
    return;
  }
  kx_progress_bar progress("margin", last - *first);
  for (uint32_t lane = *first; lane < last; ++lane) {
    kxpcie_lane_margins one = {};
    if (!margining.measure(lane, dwell_ms, &one)) {
      return;
    }
    margins->push_back(one);
    progress.update(lane + 1 - *first);
  }
}

}  // namespace

void kxpcie_margin(kxpcie_target& target, kxpcie_words words) {
  const kx_signal_guard guard;
  const uint32_t dwell_ms = dwell_read(target, words);
  uint32_t first = 0;
  std::vector<kxpcie_lane_margins> margins;
  lanes_measure(target, words, dwell_ms, &first, &margins);
  if (!margins.empty()) {
    kxpcie_margin_table_write(stdout, first, margins);
  }
}

void kxpcie_eye(kxpcie_target& target, kxpcie_words words) {
  const kx_signal_guard guard;
  const uint32_t dwell_ms = dwell_read(target, words);
  uint32_t lane = 0;
  std::vector<kxpcie_lane_margins> margins;
  if (strcmp(words[0], ALL_LANES) == 0) {
    KXPCIE_FAIL(target, "eye draws one lane");
  }
  lanes_measure(target, words, dwell_ms, &lane, &margins);
  if (target.good()) {
    kxpcie_eye_write(stdout, lane, margins[0]);
    kxpcie_margin_table_write(stdout, lane, margins);
  }
}
