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

bool dwell_read(kxpcie_words words, uint32_t* dwell_ms) {
  uint64_t number = DWELL_DEFAULT_MS;
  if (words.size() > 1 && !kxpcie_number_read(words[1], "milliseconds a step", DWELL_MAX_MS, &number)) {
    return false;
  }
  *dwell_ms = static_cast<uint32_t>(number);
  return true;
}

// The lane that a word names, below `lanes`.
bool lane_read(const char* word, uint32_t lanes, uint32_t* lane) {
  uint64_t number = 0;
  if (lanes == 0) {
    KXTOOLS_ERR("the link is down\n");
    return false;
  }
  if (!kxpcie_number_read(word, "lane", lanes - 1, &number)) {
    if (kx_nearest nearest(word); nearest.offer(ALL_LANES), nearest.name() != nullptr) {
      kx_error_print("kxtool: '%s' is no lane: did you mean '%s'?\n", word, ALL_LANES);
    }
    return false;
  }
  *lane = static_cast<uint32_t>(number);
  return true;
}

int32_t lanes_measure(kxtools_sbdf sbdf, const char* word, uint32_t dwell_ms, uint32_t* first,
                      std::vector<kxpcie_lane_margins>* margins) {
  kxpcie_margining margining(sbdf);
  if (margining.open() != 0) {
    return -1;
  }
  uint32_t last = 0;
  if (strcmp(word, ALL_LANES) == 0) {
    *first = 0;
    last = margining.lanes();
  } else {
    if (!lane_read(word, margining.lanes(), first)) {
      return -1;
    }
    last = *first + 1;
  }
  kx_progress_bar progress("margin", last - *first);
  for (uint32_t lane = *first; lane < last; ++lane) {
    kxpcie_lane_margins one = {};
    if (margining.measure(lane, dwell_ms, &one) != 0) {
      return -1;
    }
    margins->push_back(one);
    progress.update(lane + 1 - *first);
  }
  return 0;
}

}  // namespace

int32_t kxpcie_margin(kxtools_sbdf sbdf, kxpcie_words words) {
  const kx_signal_guard guard;
  uint32_t first = 0;
  uint32_t dwell_ms = 0;
  std::vector<kxpcie_lane_margins> margins;
  if (!dwell_read(words, &dwell_ms)) {
    return -1;
  }
  const int32_t result = lanes_measure(sbdf, words.empty() ? ALL_LANES : words[0], dwell_ms, &first, &margins);
  if (!margins.empty()) {
    kxpcie_margin_table_write(stdout, first, margins);
  }
  return result;
}

int32_t kxpcie_eye(kxtools_sbdf sbdf, kxpcie_words words) {
  const kx_signal_guard guard;
  uint32_t lane = 0;
  uint32_t dwell_ms = 0;
  std::vector<kxpcie_lane_margins> margins;
  if (!dwell_read(words, &dwell_ms)) {
    return -1;
  }
  if (strcmp(words[0], ALL_LANES) == 0) {
    KXTOOLS_ERR("eye draws one lane\n");
    return -1;
  }
  if (lanes_measure(sbdf, words[0], dwell_ms, &lane, &margins) != 0) {
    return -1;
  }
  kxpcie_eye_write(stdout, lane, margins[0]);
  kxpcie_margin_table_write(stdout, lane, margins);
  return 0;
}
