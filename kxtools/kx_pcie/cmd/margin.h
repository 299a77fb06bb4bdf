// Lane margining at the receiver: moves the sampling point of one lane of the card's receiver until errors come. The
// link carries traffic meanwhile.
#pragma once

#include <cstdint>

#include "kx_pcie/link_lock.h"
#include "target.h"

/// What the receiver can do, as it reports it.
struct kxpcie_margin_abilities {
  bool voltage;            ///< voltage margining at all
  bool up_down_voltage;    ///< up and down apart; one direction otherwise
  bool left_right_timing;  ///< left and right apart
  uint8_t timing_steps;    ///< steps to the largest offset
  uint8_t timing_percent;  ///< largest timing offset, hundredths of a unit interval
  uint8_t voltage_steps;
  uint8_t voltage_percent;  ///< largest voltage offset, hundredths of a volt
};

enum class kxpcie_margin_direction : uint8_t { left, right, up, down };
inline constexpr uint32_t KXPCIE_MARGIN_DIRECTIONS = 4;

enum class kxpcie_margin_end : uint8_t {
  not_measured,  ///< the receiver does not have this direction
  largest,       ///< no errors up to the largest offset
  errors,        ///< the receiver gave up because of errors
  refused,       ///< the receiver refused the next step
};

struct kxpcie_margin_result {
  kxpcie_margin_end end;
  uint8_t steps;   ///< the last good one
  uint8_t errors;  ///< counted at the last good step
};

struct kxpcie_lane_margins {
  kxpcie_margin_abilities abilities;
  kxpcie_margin_result results[KXPCIE_MARGIN_DIRECTIONS];
};

/// Margining of one function's link. While it exists, no other process works on the link, and neither end of the link
/// saves power or changes speed or width by itself; its end of life restores that, and every lane has been sent back to
/// its normal settings before.
class kxpcie_margining {
 public:
  /// What goes wrong stays in `target`, which must outlive this.
  explicit kxpcie_margining(kxpcie_target& target) : target_(target), access_(target.sbdf()) {}
  kxpcie_margining(const kxpcie_margining&) = delete;
  kxpcie_margining& operator=(const kxpcie_margining&) = delete;
  ~kxpcie_margining();

  /// Checks that the link runs at 16 GT/s or more and that the receiver is ready.
  bool open();
  /// Lanes of the link.
  uint32_t lanes() const {
    return lanes_;
  }
  /// Measures one lane, `dwell_ms` at each step, from the centre outwards, and sends it back to its normal settings, on
  /// every path. False when it could not be finished, also after an interrupt.
  bool measure(uint32_t lane, uint32_t dwell_ms, kxpcie_lane_margins* margins);

 private:
  /// One end of the link, and its settings while they are changed.
  struct link_end {
    kxtools_sbdf sbdf = KXTOOLS_SBDF_NONE;
    uint32_t express = 0;
    bool control_held = false;
    bool control_2_held = false;
    uint16_t control = 0;
    uint16_t control_2 = 0;
  };
  void link_hold();
  void end_hold(link_end* end, kxtools_sbdf sbdf);
  static bool end_restore(const link_end& end);
  uint32_t command(uint32_t lane, uint32_t type, uint32_t payload);
  void no_command(uint32_t lane);
  uint8_t report(uint32_t lane, uint32_t what, uint8_t mask);
  kxpcie_margin_abilities abilities_read(uint32_t lane);
  uint16_t set_up_wait(uint32_t place);
  void step(uint32_t lane, uint32_t type, uint32_t payload, uint32_t dwell_ms, kxpcie_margin_result* result);
  void direction_measure(uint32_t lane, kxpcie_margin_direction direction, uint32_t dwell_ms,
                         kxpcie_lane_margins* margins);
  void directions_measure(uint32_t lane, uint32_t dwell_ms, kxpcie_lane_margins* margins);
  bool normal(uint32_t lane);

  kxpcie_target& target_;
  kxpcie_target access_;  // of the measurement under way: its failure does not keep the lane from going back
  uint32_t margining_ = 0;
  uint32_t lanes_ = 0;
  link_lock link_;
  link_end own_;
  link_end port_;
};
