#include "kx_pcie_cmd/lane_eyes.h"

#include "common/signals.h"
#include "margin.h"

namespace {

constexpr uint32_t DWELL_MS = 50;

/// The offset of a direction's last good step, where `largest` is that of the last step there is.
double offset_of(const kxpcie_lane_margins& margins, kxpcie_margin_direction direction, kxpcie_margin_direction mirror,
                 uint32_t steps, double largest) {
  const auto result = [&margins](kxpcie_margin_direction one) { return margins.results[static_cast<uint32_t>(one)]; };
  const bool apart = result(direction).end != kxpcie_margin_end::not_measured;
  return steps == 0 ? 0 : result(apart ? direction : mirror).steps * largest / steps;
}

kxpcie_lane_eye eye_of(uint32_t lane, const kxpcie_lane_margins& margins) {
  using direction = kxpcie_margin_direction;
  const kxpcie_margin_abilities& can = margins.abilities;
  const double timing = can.timing_percent / 100.0;
  const double voltage = can.voltage ? can.voltage_percent / 100.0 : 0;
  return {.lane = lane,
          .left = offset_of(margins, direction::left, direction::right, can.timing_steps, timing),
          .right = offset_of(margins, direction::right, direction::left, can.timing_steps, timing),
          .up = offset_of(margins, direction::up, direction::down, can.voltage_steps, voltage),
          .down = offset_of(margins, direction::down, direction::up, can.voltage_steps, voltage),
          .timing_largest = timing,
          .voltage_largest = voltage};
}

}  // namespace

std::string kxpcie_lane_eyes_measure(kxtools_sbdf sbdf, bool (*take)(void* self, const kxpcie_lane_eye& eye),
                                     void* self) {
  const kx_signal_guard guard;
  kxpcie_target target(sbdf);
  {
    kxpcie_margining margining(target);
    if (margining.open()) {
      for (uint32_t lane = 0; lane < margining.lanes(); ++lane) {
        kxpcie_lane_margins margins = {};
        if (!margining.measure(lane, DWELL_MS, &margins) || !take(self, eye_of(lane, margins))) {
          break;
        }
      }
    }
  }
  return target.good() ? "" : target.reason();
}
