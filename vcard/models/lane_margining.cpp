// The receiver's end of lane margining: reports what it can do, and steps its sampling point until errors come.

#include <algorithm>
#include <atomic>
#include <memory>

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

constexpr std::chrono::microseconds margining_period(50);
constexpr size_t lane_count = 16;
constexpr size_t first_lane = margining_capability + 0x08;
constexpr uint32_t own_receiver = 6;
constexpr uint32_t no_command = 0x9c38;

constexpr uint32_t type_report = 1;
constexpr uint32_t type_set = 2;
constexpr uint32_t type_timing = 3;
constexpr uint32_t type_voltage = 4;

constexpr uint32_t step_too_many_errors = 0x00;
constexpr uint32_t step_running = 0x80;
constexpr uint32_t step_refused = 0xc0;

class LaneMargining {
 public:
  explicit LaneMargining(Card& card) : card_(card) {
    CardSection section = card.file().section("margining");
    voltage_ = section.flag("voltage", true);
    up_down_ = section.flag("up_down", true);
    left_right_ = section.flag("left_right", true);
    timing_steps_ = static_cast<uint32_t>(section.number("timing_steps", 20, 63));
    timing_offset_ = static_cast<uint32_t>(section.number("timing_offset", 25, 127));
    voltage_steps_ = static_cast<uint32_t>(section.number("voltage_steps", 40, 127));
    voltage_offset_ = static_cast<uint32_t>(section.number("voltage_offset", 20, 127));
    left_ = section.numbers("left", {12}, 127);
    right_ = section.numbers("right", {13}, 127);
    up_ = section.numbers("up", {22}, 127);
    down_ = section.numbers("down", {20}, 127);
    refuses_ = section.number("refuses_from", 128, 128);
    silent_lanes_ = section.numbers("silent_lanes", {}, lane_count - 1);
    auto speaker = std::ranges::find_if(card.functions(), &PciFunction::speaks_for_link);
    if (speaker != card.functions().end()) {
      function_ = &*speaker;
      std::ranges::fill(commands_, no_command);
      card.poll_every(margining_period, [this] { return poll(); });
    }
  }

 private:
  bool poll() {
    bool worked = false;
    for (size_t lane = 0; lane < lane_count; ++lane) {
      std::atomic_ref place(*reinterpret_cast<uint32_t*>(function_->config.bytes().data() + first_lane + 4 * lane));
      uint32_t now = place.load();
      if (now == UINT32_MAX || (now & 0xffff) == commands_[lane] || is_silent(lane)) {
        continue;
      }
      commands_[lane] = now & 0xffff;
      card_.log().line("margining lane=%zu command=0x%04x", lane, commands_[lane]);
      place.store(answer(lane, commands_[lane]) << 16 | commands_[lane]);
      worked = true;
    }
    return worked;
  }

  bool is_silent(size_t lane) const {
    return std::ranges::find(silent_lanes_, lane) != silent_lanes_.end();
  }

  /// The status: the command's receiver and type, and a payload.
  uint32_t answer(size_t lane, uint32_t command) {
    uint32_t receiver = command & 7;
    uint32_t type = command >> 3 & 7;
    uint32_t payload = command >> 8;
    if (receiver == own_receiver) {
      switch (type) {
        case type_report:
          payload = report(payload);
          break;
        case type_timing:
          payload =
              step(payload & 0x3f, (payload & 0x40) != 0 && left_right_ ? of_lane(left_, lane) : of_lane(right_, lane));
          break;
        case type_voltage:
          payload = voltage_ ? step(payload & 0x7f,
                                    (payload & 0x80) != 0 && up_down_ ? of_lane(down_, lane) : of_lane(up_, lane))
                             : step_refused;
          break;
        case type_set:
        default:
          break;
      }
    }
    return payload << 8 | (command & 0x3f);
  }

  uint32_t report(uint32_t what) const {
    switch (what) {
      case 0x88:
        return (voltage_ ? 1u : 0) | (up_down_ ? 2u : 0) | (left_right_ ? 4u : 0);
      case 0x89:
        return voltage_steps_;
      case 0x8a:
        return timing_steps_;
      case 0x8b:
        return timing_offset_;
      case 0x8c:
        return voltage_offset_;
      default:
        return 0;
    }
  }

  uint32_t step(uint64_t steps, uint64_t margin) const {
    if (steps >= refuses_) {
      return step_refused;
    }
    // The last good step has a few errors, fewer than the limit.
    return steps > margin ? step_too_many_errors : step_running | (steps == margin ? 2u : 0);
  }

  static uint64_t of_lane(const std::vector<uint64_t>& margins, size_t lane) {
    return margins.empty() ? 0 : margins[std::min(lane, margins.size() - 1)];
  }

  Card& card_;
  PciFunction* function_ = nullptr;
  uint32_t commands_[lane_count] = {};
  bool voltage_ = true;
  bool up_down_ = true;
  bool left_right_ = true;
  uint32_t timing_steps_ = 0;
  uint32_t timing_offset_ = 0;
  uint32_t voltage_steps_ = 0;
  uint32_t voltage_offset_ = 0;
  std::vector<uint64_t> left_;
  std::vector<uint64_t> right_;
  std::vector<uint64_t> up_;
  std::vector<uint64_t> down_;
  uint64_t refuses_ = 0;
  std::vector<uint64_t> silent_lanes_;
};

}  // namespace

void lane_margining_attach(Card& card) {
  card.own(std::make_unique<LaneMargining>(card));
}

}  // namespace vcard
