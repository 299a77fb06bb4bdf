#include "margin.h"

#include <unistd.h>

#include <algorithm>

#include "capabilities.h"
#include "common/report.h"
#include "common/signals.h"
#include "common/wait.h"
#include "device/function.h"

namespace {

// The capability.
constexpr uint32_t PORT_STATUS = 0x06;
constexpr uint16_t PORT_READY = 1;
constexpr uint32_t FIRST_LANE = 0x08;  // control and status, 16 bits each
constexpr uint32_t LANE_STATUS = 2;
constexpr uint32_t LANE_SIZE = 4;
constexpr uint32_t LANES_MAX = 32;

// A lane's command and answer: receiver in bits 0 to 2, type in bits 3 to 5, payload in bits 8 to 15.
constexpr uint32_t UPSTREAM_RECEIVER = 6;  // the card's own
constexpr uint32_t TYPE_REPORT = 1;
constexpr uint32_t TYPE_SET = 2;
constexpr uint32_t TYPE_TIMING = 3;
constexpr uint32_t TYPE_VOLTAGE = 4;
constexpr uint32_t TYPE_NONE = 7;
constexpr uint32_t NO_COMMAND = 0x9C;

constexpr uint32_t REPORT_ABILITIES = 0x88;
constexpr uint32_t REPORT_VOLTAGE_STEPS = 0x89;
constexpr uint32_t REPORT_TIMING_STEPS = 0x8A;
constexpr uint32_t REPORT_TIMING_OFFSET = 0x8B;
constexpr uint32_t REPORT_VOLTAGE_OFFSET = 0x8C;

constexpr uint32_t SET_ERROR_LIMIT = 0xC0;  // plus the limit
constexpr uint32_t SET_NORMAL = 0x0F;
constexpr uint32_t SET_CLEAR_ERRORS = 0x55;
constexpr uint32_t ERROR_LIMIT = 4;

constexpr uint32_t TIMING_LEFT = 1u << 6;
constexpr uint32_t VOLTAGE_DOWN = 1u << 7;

// The answer to a step: its state in bits 6 and 7 of the payload, errors below.
constexpr uint32_t STEP_ERRORS = 0x3F;
constexpr uint32_t STEP_TOO_MANY_ERRORS = 0;
constexpr uint32_t STEP_SET_UP = 1;
constexpr uint32_t STEP_RUNNING = 2;

// An answer takes 10 ms at most; a step is set up within 200 ms.
constexpr kx_wait_limit ANSWER_LIMIT = {.step_us = 200, .looks = 500, .sleep_first = true};
constexpr kx_wait_limit SET_UP_LIMIT = {.step_us = 1000, .looks = 250, .sleep_first = true};

// What is held off at both ends of the link meanwhile: power saving, and changes of width and speed.
constexpr uint16_t CONTROL_HELD = PCI_EXP_LNKCTL_ASPMC | PCI_EXP_LNKCTL_HAWD;
constexpr uint16_t CONTROL_2_HELD = PCIE_LINK_CONTROL_2_NO_SPEED_CHANGE;

uint32_t state_of(uint32_t answer) {
  return answer >> 6 & 3;
}

}  // namespace

kxpcie_margining::~kxpcie_margining() {
  // The port first: power saving is switched on from above.
  for (link_end* end : {&port_, &own_}) {
    if (!end_restore(*end)) {
      char name[13];
      kxtools_sbdf_text(end->sbdf, name);
      KXTOOLS_ERR("the link settings of %s could not be restored: link control 0x%04x, link control 2 0x%04x\n", name,
                  end->control, end->control_2);
    }
  }
}

// Only what was held: the other bits may have been changed by somebody else meanwhile.
bool kxpcie_margining::end_restore(const link_end& end) {
  uint16_t held = 0;
  const bool control = !end.control_held || kxpcie_word_change(end.sbdf, end.express + PCI_EXP_LNKCTL, CONTROL_HELD,
                                                               end.control, &held) == 0;
  const bool control_2 = !end.control_2_held || kxpcie_word_change(end.sbdf, end.express + PCI_EXP_LNKCTL2,
                                                                   CONTROL_2_HELD, end.control_2, &held) == 0;
  return control && control_2;
}

int32_t kxpcie_margining::open() {
  uint32_t express = 0;
  uint16_t status = 0;
  uint16_t ready = 0;
  if (kxpcie_capability_find(sbdf_, true, PCIE_ECAP_MARGINING, &margining_) != 0 ||
      kxpcie_capability_find(sbdf_, false, PCI_CAP_ID_EXP, &express) != 0 ||
      kxpcie_word_read(sbdf_, express + PCI_EXP_LNKSTA, &status) != 0 ||
      kxpcie_word_read(sbdf_, margining_ + PORT_STATUS, &ready) != 0) {
    return -1;
  }
  if (pcie_link_speed(status) < PCIE_SPEED_16GT) {
    KXTOOLS_ERR("margining needs a link at 16 GT/s or more\n");
    return -1;
  }
  if ((ready & PORT_READY) == 0) {
    KXTOOLS_ERR("the receiver is not ready for margining\n");
    return -1;
  }
  lanes_ = std::min(pcie_link_width(status), LANES_MAX);
  return link_.take() ? link_hold() : -1;
}

int32_t kxpcie_margining::link_hold() {
  own_.sbdf = sbdf_;
  if (end_hold(&own_) != 0) {
    return -1;
  }
  const std::vector<kxtools_sbdf> ports = kxtools_ports_above(sbdf_);
  if (ports.empty()) {
    kx_error_print("no port above the function can be found: its end of the link keeps its power saving\n");
    return 0;
  }
  port_.sbdf = ports.back();
  return end_hold(&port_);
}

// An end without the capability has no such settings.
int32_t kxpcie_margining::end_hold(link_end* end) {
  bool found = false;
  if (kxpcie_capability_look(end->sbdf, false, PCI_CAP_ID_EXP, &found, &end->express) != 0) {
    return -1;
  }
  if (!found) {
    return 0;
  }
  end->control_held = kxpcie_word_change(end->sbdf, end->express + PCI_EXP_LNKCTL, CONTROL_HELD, PCI_EXP_LNKCTL_HAWD,
                                         &end->control) == 0;
  end->control_2_held = end->control_held && kxpcie_word_change(end->sbdf, end->express + PCI_EXP_LNKCTL2,
                                                                CONTROL_2_HELD, CONTROL_2_HELD, &end->control_2) == 0;
  return end->control_2_held ? 0 : -1;
}

// Gives a command and waits for the lane to answer it. `answer` may be null.
int32_t kxpcie_margining::command(uint32_t lane, uint32_t type, uint32_t payload, uint32_t* answer) {
  const uint32_t receiver = type == TYPE_NONE ? 0 : UPSTREAM_RECEIVER;
  const uint32_t head = type << 3 | receiver;
  const uint32_t place = margining_ + FIRST_LANE + lane * LANE_SIZE;
  if (kxpcie_word_write(sbdf_, place, static_cast<uint16_t>(payload << 8 | head)) != 0) {
    return -1;
  }
  uint16_t status = 0;
  const kx_waited waited = kx_wait(ANSWER_LIMIT, [&] {
    if (kxpcie_word_read(sbdf_, place + LANE_STATUS, &status) != 0) {
      return kx_look::gone;
    }
    // All but a report and a step are answered by their own payload.
    const bool echoed = type != TYPE_NONE && type != TYPE_SET ? true : status >> 8 == payload;
    return (status & 0x3F) == head && echoed ? kx_look::done : kx_look::again;
  });
  if (waited == kx_waited::late) {
    reason_ = "the receiver does not answer a command";
  }
  if (answer != nullptr) {
    *answer = status >> 8;
  }
  return waited == kx_waited::done ? 0 : -1;
}

int32_t kxpcie_margining::no_command(uint32_t lane) {
  return command(lane, TYPE_NONE, NO_COMMAND, nullptr);
}

int32_t kxpcie_margining::report(uint32_t lane, uint32_t what, uint8_t mask, uint8_t* value) {
  uint32_t answer = 0;
  if (command(lane, TYPE_REPORT, what, &answer) != 0 || no_command(lane) != 0) {
    return -1;
  }
  *value = static_cast<uint8_t>(answer & mask);
  return 0;
}

int32_t kxpcie_margining::abilities_read(uint32_t lane, kxpcie_margin_abilities* abilities) {
  uint8_t bits = 0;
  if (no_command(lane) != 0 || report(lane, REPORT_ABILITIES, 0x1F, &bits) != 0 ||
      report(lane, REPORT_TIMING_STEPS, 0x3F, &abilities->timing_steps) != 0 ||
      report(lane, REPORT_TIMING_OFFSET, 0x7F, &abilities->timing_percent) != 0) {
    return -1;
  }
  abilities->voltage = (bits & 1) != 0;
  abilities->up_down_voltage = (bits & 2) != 0;
  abilities->left_right_timing = (bits & 4) != 0;
  if (!abilities->voltage) {
    return 0;
  }
  return report(lane, REPORT_VOLTAGE_STEPS, 0x7F, &abilities->voltage_steps) == 0 &&
                 report(lane, REPORT_VOLTAGE_OFFSET, 0x7F, &abilities->voltage_percent) == 0
             ? 0
             : -1;
}

int32_t kxpcie_margining::set_up_wait(uint32_t place, uint16_t* status) {
  const kx_waited waited = kx_wait(SET_UP_LIMIT, [&] {
    if (kxpcie_word_read(sbdf_, place, status) != 0) {
      return kx_look::gone;
    }
    return state_of(*status >> 8) == STEP_SET_UP ? kx_look::again : kx_look::done;
  });
  if (waited == kx_waited::late) {
    reason_ = "the receiver does not set up a step";
  }
  return waited == kx_waited::done ? 0 : -1;
}

// One step: set up, dwell, look. `result` ends when the step is not good.
int32_t kxpcie_margining::step(uint32_t lane, uint32_t type, uint32_t payload, uint32_t dwell_ms,
                               kxpcie_margin_result* result) {
  const uint32_t place = margining_ + FIRST_LANE + lane * LANE_SIZE + LANE_STATUS;
  uint32_t answer = 0;
  if (command(lane, type, payload, &answer) != 0) {
    return -1;
  }
  uint16_t status = static_cast<uint16_t>(answer << 8);
  if (state_of(status >> 8) == STEP_SET_UP && set_up_wait(place, &status) != 0) {
    return -1;
  }
  if (state_of(status >> 8) == STEP_RUNNING) {
    usleep(dwell_ms * 1000);
    if (kxpcie_word_read(sbdf_, place, &status) != 0) {
      return -1;
    }
  }
  const uint32_t state = state_of(status >> 8);
  if (state == STEP_RUNNING) {
    result->errors = static_cast<uint8_t>(status >> 8 & STEP_ERRORS);
    ++result->steps;
  } else {
    result->end = state == STEP_TOO_MANY_ERRORS ? kxpcie_margin_end::errors : kxpcie_margin_end::refused;
  }
  return no_command(lane);
}

int32_t kxpcie_margining::direction_measure(uint32_t lane, kxpcie_margin_direction direction, uint32_t dwell_ms,
                                            kxpcie_lane_margins* margins) {
  const bool timing = direction == kxpcie_margin_direction::left || direction == kxpcie_margin_direction::right;
  const uint32_t sign = direction == kxpcie_margin_direction::left   ? TIMING_LEFT
                        : direction == kxpcie_margin_direction::down ? VOLTAGE_DOWN
                                                                     : 0;
  const uint32_t largest = timing ? margins->abilities.timing_steps : margins->abilities.voltage_steps;
  kxpcie_margin_result& result = margins->results[static_cast<uint32_t>(direction)];
  result = {.end = kxpcie_margin_end::largest};
  if (command(lane, TYPE_SET, SET_ERROR_LIMIT | ERROR_LIMIT, nullptr) != 0 || no_command(lane) != 0) {
    return -1;
  }
  for (uint32_t i = 1; i <= largest && result.end == kxpcie_margin_end::largest; ++i) {
    if (kx_signal_guard::raised() != 0) {
      reason_ = "interrupted";
      return -1;
    }
    if (step(lane, timing ? TYPE_TIMING : TYPE_VOLTAGE, sign | i, dwell_ms, &result) != 0) {
      return -1;
    }
  }
  return normal(lane);
}

int32_t kxpcie_margining::directions_measure(uint32_t lane, uint32_t dwell_ms, kxpcie_lane_margins* margins) {
  using direction = kxpcie_margin_direction;
  *margins = {};
  kxpcie_margin_abilities& abilities = margins->abilities;
  if (abilities_read(lane, &abilities) != 0) {
    return -1;
  }
  // A receiver with one direction only is stepped without a sign and reported as the right and the upper one.
  const struct {
    direction towards;
    bool possible;
  } plan[] = {
      {direction::left, abilities.left_right_timing},
      {direction::right, true},
      {direction::up, abilities.voltage},
      {direction::down, abilities.voltage && abilities.up_down_voltage},
  };
  for (const auto& row : plan) {
    if (row.possible && direction_measure(lane, row.towards, dwell_ms, margins) != 0) {
      return -1;
    }
  }
  return 0;
}

int32_t kxpcie_margining::normal(uint32_t lane) {
  // Every command is tried, whatever becomes of the one before.
  int32_t result = no_command(lane);
  for (const uint32_t payload : {SET_NORMAL, SET_CLEAR_ERRORS}) {
    result |= command(lane, TYPE_SET, payload, nullptr);
    result |= no_command(lane);
  }
  return result;
}

int32_t kxpcie_margining::measure(uint32_t lane, uint32_t dwell_ms, kxpcie_lane_margins* margins) {
  reason_ = "configuration access failed";
  if (directions_measure(lane, dwell_ms, margins) == 0) {
    return 0;
  }
  const char* const reason = reason_;
  const bool restored = normal(lane) == 0;
  KXTOOLS_ERR("margining of lane %u: %s; the lane %s at its normal settings\n", lane, reason,
              restored ? "is" : "may not be");
  return -1;
}
