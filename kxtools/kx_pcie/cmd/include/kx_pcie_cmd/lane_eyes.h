// The eyes of a function's link for other programs.
#pragma once

#include <cstdint>
#include <string>

#include "device/address.h"

/// How far the sampling point of a lane can be moved without errors. A direction that the receiver does not have apart
/// has what the opposite one has; 0 in both measures that it does not have at all, or whose steps it does not explain.
struct kxpcie_lane_eye {
  uint32_t lane;
  double left, right;     ///< unit intervals
  double up, down;        ///< volts
  double timing_largest;  ///< the largest offset that can be set; 0 for none
  double voltage_largest;
};

/// Measures every lane of the link in turn, which carries traffic meanwhile, and hands each over; false ends it. No
/// other process works on the link as long, and all lanes have their normal settings behind it. Returns "" or why it
/// could not be finished.
std::string kxpcie_lane_eyes_measure(kxtools_sbdf sbdf, bool (*take)(void* self, const kxpcie_lane_eye& eye),
                                     void* self);
