#include "margin.h"

#include <unistd.h>

#include <algorithm>

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
  for (const link_end* end : {&port_, &own_}) {
    if (!end_restore(*end)) {
      KXTOOLS_ERR("the link settings of %s could not be restored: link control 0x%04x, link control 2 0x%04x\n",
                  kxtools_sbdf_text(end->sbdf).text, end->control, end->control_2);
    }
  }
}

// Only what was held: the other bits may have been changed by somebody else meanwhile.
bool kxpcie_margining::end_restore(const link_end& end) {
  kxpcie_target control(end.sbdf);
  kxpcie_target control_2(end.sbdf);
  if (end.control_held) {
    control.word_change(end.express + PCI_EXP_LNKCTL, CONTROL_HELD, end.control);
  }
  if (end.control_2_held) {
    control_2.word_change(end.express + PCI_EXP_LNKCTL2, CONTROL_2_HELD, end.control_2);
  }
  return control.good() && control_2.good();
}

bool kxpcie_margining::open() {
  margining_ = target_.find(true, PCIE_ECAP_MARGINING);
  const uint32_t express = target_.find(false, PCI_CAP_ID_EXP);
  const uint16_t status = target_.word(express + PCI_EXP_LNKSTA);
  const uint16_t ready = target_.word(margining_ + PORT_STATUS);
  if (pcie_link_speed(status) < PCIE_SPEED_16GT) {
    KXPCIE_FAIL(target_, "margining needs a link at 16 GT/s or more");
  } else if ((ready & PORT_READY) == 0) {
    KXPCIE_FAIL(target_, "the receiver is not ready for margining");
  }
  lanes_ = std::min(pcie_link_width(status), PCIE_LANES_MAX);
  if (target_.good() && target_.check(link_.take())) {
    link_hold();
  }
  return target_.good();
}

void kxpcie_margining::link_hold() {
  end_hold(&own_, target_.sbdf());
  const std::vector<kxtools_sbdf> ports = kxtools_ports_above(target_.sbdf());
  if (ports.empty()) {
    kx_error_print("no port above the function can be found: its end of the link keeps its power saving\n");
  } else if (target_.good()) {
    end_hold(&port_, ports.back());
  }
}

// An end without the capability has no such settings.
void kxpcie_margining::end_hold(link_end* end, kxtools_sbdf sbdf) {
  kxpcie_target access(sbdf);
  end->sbdf = sbdf;
  if (const std::optional<uint32_t> express = access.look(false, PCI_CAP_ID_EXP)) {
    end->express = *express;
    end->control = access.word_change(*express + PCI_EXP_LNKCTL, CONTROL_HELD, PCI_EXP_LNKCTL_HAWD);
    end->control_held = access.good();
    end->control_2 = access.word_change(*express + PCI_EXP_LNKCTL2, CONTROL_2_HELD, CONTROL_2_HELD);
    end->control_2_held = access.good();
  }
  target_.adopt(access);
}

// Gives a command and waits for the lane to answer it. Returns the payload of the answer.
uint32_t kxpcie_margining::command(uint32_t lane, uint32_t type, uint32_t payload) {
  const uint32_t receiver = type == TYPE_NONE ? 0 : UPSTREAM_RECEIVER;
  const uint32_t head = type << 3 | receiver;
  const uint32_t place = margining_ + FIRST_LANE + lane * LANE_SIZE;
  access_.word_write(place, static_cast<uint16_t>(payload << 8 | head));
  uint16_t status = 0;
  const kx_waited waited = kx_wait(ANSWER_LIMIT, [&] {
    status = access_.word(place + LANE_STATUS);
    // All but a report and a step are answered by their own payload.
    const bool echoed = type != TYPE_NONE && type != TYPE_SET ? true : status >> 8 == payload;
    return !access_.good() ? kx_look::gone : (status & 0x3F) == head && echoed ? kx_look::done : kx_look::again;
  });
  if (waited == kx_waited::late) {
    KXPCIE_FAIL(access_, "the receiver does not answer a command");
  }
  return status >> 8;
}

void kxpcie_margining::no_command(uint32_t lane) {
  command(lane, TYPE_NONE, NO_COMMAND);
}

uint8_t kxpcie_margining::report(uint32_t lane, uint32_t what, uint8_t mask) {
  const uint32_t answer = command(lane, TYPE_REPORT, what);
  no_command(lane);
  return static_cast<uint8_t>(answer & mask);
}

kxpcie_margin_abilities kxpcie_margining::abilities_read(uint32_t lane) {
  no_command(lane);
  const uint8_t bits = report(lane, REPORT_ABILITIES, 0x1F);
  kxpcie_margin_abilities abilities = {.voltage = (bits & 1) != 0,
                                       .up_down_voltage = (bits & 2) != 0,
                                       .left_right_timing = (bits & 4) != 0,
                                       .timing_steps = report(lane, REPORT_TIMING_STEPS, 0x3F),
                                       .timing_percent = report(lane, REPORT_TIMING_OFFSET, 0x7F)};
  if (abilities.voltage && access_.good()) {
    abilities.voltage_steps = report(lane, REPORT_VOLTAGE_STEPS, 0x7F);
    abilities.voltage_percent = report(lane, REPORT_VOLTAGE_OFFSET, 0x7F);
  }
  return abilities;
}

uint16_t kxpcie_margining::set_up_wait(uint32_t place) {
  uint16_t status = 0;
  const kx_waited waited = kx_wait(SET_UP_LIMIT, [&] {
    status = access_.word(place);
    return !access_.good() ? kx_look::gone : state_of(status >> 8) == STEP_SET_UP ? kx_look::again : kx_look::done;
  });
  if (waited == kx_waited::late) {
    KXPCIE_FAIL(access_, "the receiver does not set up a step");
  }
  return status;
}

// One step: set up, dwell, look. `result` ends when the step is not good.
void kxpcie_margining::step(uint32_t lane, uint32_t type, uint32_t payload, uint32_t dwell_ms,
                            kxpcie_margin_result* result) {
  const uint32_t place = margining_ + FIRST_LANE + lane * LANE_SIZE + LANE_STATUS;
  uint16_t status = static_cast<uint16_t>(command(lane, type, payload) << 8);
  if (access_.good() && state_of(status >> 8) == STEP_SET_UP) {
    status = set_up_wait(place);
  }
  if (access_.good() && state_of(status >> 8) == STEP_RUNNING) {
    usleep(dwell_ms * 1000);
    status = access_.word(place);
  }
  if (!access_.good()) {
    return;
  }
  const uint32_t state = state_of(status >> 8);
  if (state == STEP_RUNNING) {
    result->errors = static_cast<uint8_t>(status >> 8 & STEP_ERRORS);
    ++result->steps;
  } else {
    result->end = state == STEP_TOO_MANY_ERRORS ? kxpcie_margin_end::errors : kxpcie_margin_end::refused;
  }
  no_command(lane);
}

void kxpcie_margining::direction_measure(uint32_t lane, kxpcie_margin_direction direction, uint32_t dwell_ms,
                                         kxpcie_lane_margins* margins) {
  const bool timing = direction == kxpcie_margin_direction::left || direction == kxpcie_margin_direction::right;
  const uint32_t sign = direction == kxpcie_margin_direction::left   ? TIMING_LEFT
                        : direction == kxpcie_margin_direction::down ? VOLTAGE_DOWN
                                                                     : 0;
  const uint32_t largest = timing ? margins->abilities.timing_steps : margins->abilities.voltage_steps;
  kxpcie_margin_result& result = margins->results[static_cast<uint32_t>(direction)];
  result = {.end = kxpcie_margin_end::largest};
  command(lane, TYPE_SET, SET_ERROR_LIMIT | ERROR_LIMIT);
  no_command(lane);
  for (uint32_t i = 1; i <= largest && result.end == kxpcie_margin_end::largest && access_.good(); ++i) {
    if (kx_signal_guard::raised() != 0) {
      KXPCIE_FAIL(access_, "interrupted");
      return;
    }
    step(lane, timing ? TYPE_TIMING : TYPE_VOLTAGE, sign | i, dwell_ms, &result);
  }
  if (access_.good()) {
    access_.check(normal(lane));
  }
}

void kxpcie_margining::directions_measure(uint32_t lane, uint32_t dwell_ms, kxpcie_lane_margins* margins) {
  using direction = kxpcie_margin_direction;
  *margins = {.abilities = abilities_read(lane)};
  const kxpcie_margin_abilities& abilities = margins->abilities;
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
    if (row.possible && access_.good()) {
      direction_measure(lane, row.towards, dwell_ms, margins);
    }
  }
}

// Every command is tried, whatever becomes of the one before.
bool kxpcie_margining::normal(uint32_t lane) {
  bool done = true;
  const auto finish = [&] {
    done = done && access_.good();
    access_ = kxpcie_target(target_.sbdf());
  };
  access_ = kxpcie_target(target_.sbdf());
  no_command(lane);
  finish();
  for (const uint32_t payload : {SET_NORMAL, SET_CLEAR_ERRORS}) {
    command(lane, TYPE_SET, payload);
    finish();
    no_command(lane);
    finish();
  }
  return done;
}

bool kxpcie_margining::measure(uint32_t lane, uint32_t dwell_ms, kxpcie_lane_margins* margins) {
  access_ = kxpcie_target(target_.sbdf());
  directions_measure(lane, dwell_ms, margins);
  if (access_.good()) {
    return true;
  }
  const kxpcie_target failed = access_;
  const bool restored = normal(lane);
  KXPCIE_FAIL(target_, "margining of lane %u: %s; the lane %s at its normal settings", lane, failed.reason(),
              restored ? "is" : "may not be");
  return false;
}
