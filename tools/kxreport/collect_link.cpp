// The links of a card: PCIe, and the module in the port.
#include <cerrno>
#include <cmath>
#include <cstring>
#include <iterator>

#include "collect.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/registers.h"
#include "kx_pcie_cmd/lane_eyes.h"
#include "module_alarms.h"
#include "port/module_decode.h"
#include "port/module_eeprom.h"

namespace {

constexpr int64_t SPEEDS[] = {0, 2500000000, 5000000000, 8000000000, 16000000000, 32000000000, 64000000000};

int64_t speed_of(uint32_t link) {
  const uint32_t code = pcie_link_speed(link);
  return code < std::size(SPEEDS) ? SPEEDS[code] : 0;
}

void pcie_collect(const card_place& place, value_sink* out, collect_errors* errors) {
  pcie_link link;
  if (!pcie_link_read(place.sbdf, &link)) {
    errors->push_back("configuration space tells of no link");
    return;
  }
  out->begin(term::pcie);
  out->gauge(term::speed, link.speed);
  out->gauge(term::speed_best, link.speed_best);
  out->gauge(term::width, link.width);
  out->gauge(term::width_best, link.width_best);
  out->flag(term::at_best, link.at_best);
  out->end();
}

// To the seven digits behind the point that a module has: what multiplying adds says nothing.
double rounded(double number) {
  constexpr double DIGITS = 1e7;
  return std::round(number * DIGITS) / DIGITS;
}

bool eye_take(void* self, const kxpcie_lane_eye& eye) {
  auto* out = static_cast<value_sink*>(self);
  out->begin(term::eye);
  out->text(term::lane_number, std::to_string(eye.lane));
  out->real(term::eye_left, rounded(eye.left));
  out->real(term::eye_right, rounded(eye.right));
  out->real(term::eye_up, rounded(eye.up));
  out->real(term::eye_down, rounded(eye.down));
  out->real(term::eye_timing_largest, rounded(eye.timing_largest));
  out->real(term::eye_voltage_largest, rounded(eye.voltage_largest));
  out->end();
  return true;
}

void eyes_collect(const card_place& place, value_sink* out, collect_errors* errors) {
  out->begin(term::eyes);
  const std::string why = kxpcie_lane_eyes_measure(place.sbdf, eye_take, out);
  out->end();
  if (!why.empty()) {
    errors->push_back("the eyes of the link cannot be measured: " + why);
  }
}

void monitors_collect(const module_info& info, value_sink* out) {
  out->real(term::temperature_measured, rounded(info.temperature));
  out->real(term::voltage, rounded(info.voltage));
  out->begin(term::lanes);
  for (uint32_t i = 0; i < info.lane_count; ++i) {
    out->begin(term::lane);
    out->text(term::lane_number, std::to_string(i + 1));
    out->real(term::receive_power, rounded(info.lanes[i].receive_mw / 1000));
    out->real(term::send_power, rounded(info.lanes[i].send_mw / 1000));
    out->real(term::bias, rounded(info.lanes[i].bias_ma / 1000));
    out->end();
  }
  out->end();
}

void alarms_collect(std::span<const uint8_t> eeprom, value_sink* out) {
  const std::vector<std::string> alarms = module_alarms(eeprom);
  out->flag(term::alarm, !alarms.empty());
  out->begin(term::alarms);
  for (const std::string& name : alarms) {
    out->text(term::alarm_name, name);
  }
  out->end();
}

void module_values_collect(const module_info& info, value_sink* out) {
  out->text(term::kind, info.kind);
  out->text(term::vendor, info.vendor);
  out->text(term::part, info.part);
  out->text(term::revision, info.revision);
  out->text(term::serial, info.serial);
  out->text(term::date, info.date);
  out->flag(term::trusted, info.sums_good);
  if (info.bit_rate != 0) {
    out->gauge(term::bit_rate, int64_t{info.bit_rate} * 1000000);
  }
  if (info.has_monitors) {
    monitors_collect(info, out);
  }
}

void module_collect(const card_place& place, value_sink* out, collect_errors* errors) {
  std::vector<uint8_t> eeprom;
  const int error = module_eeprom_ask(place.device.c_str(), &eeprom);
  if (error == EOPNOTSUPP) {
    return;  // a driver without this service tells of no module
  }
  if (error != 0 && error != ENXIO && error != ENODEV) {
    errors->push_back(std::string("the module in the port cannot be read: ") + strerror(error));
    return;
  }
  out->begin(term::module_);
  out->flag(term::plugged, error == 0);
  module_info info;
  if (error == 0) {
    if (module_decode(eeprom, &info) == module_decode_result::good) {
      module_values_collect(info, out);
      alarms_collect(eeprom, out);
    } else {
      errors->push_back("the module in the port is of an unknown kind, or its answer is short");
    }
  }
  out->end();
}

}  // namespace

bool pcie_link_read(uint32_t sbdf, pcie_link* link) {
  const int32_t express = pcie_find_capability(sbdf, PCI_CAP_ID_EXP);
  uint32_t best = 0;
  uint32_t now = 0;
  if (express < 0 || pcie_cfg_read_dword(sbdf, static_cast<uint32_t>(express) + PCI_EXP_LNKCAP, &best) != 0 ||
      pcie_cfg_read_dword(sbdf, static_cast<uint32_t>(express) + PCI_EXP_LNKCTL, &now) != 0) {
    return false;
  }
  now >>= 16;  // the status lies above the control
  *link = {.speed = speed_of(now),
           .speed_best = speed_of(best),
           .width = pcie_link_width(now),
           .width_best = pcie_link_width(best),
           .at_best = pcie_link_speed(now) >= pcie_link_speed(best) && pcie_link_width(now) >= pcie_link_width(best)};
  return true;
}

void link_collect(card* asked, bool eyes, value_sink* out, collect_errors* errors) {
  out->begin(term::link);
  pcie_collect(asked->place(), out, errors);
  if (eyes) {
    eyes_collect(asked->place(), out, errors);
  }
  if (!asked->place().device.empty()) {
    module_collect(asked->place(), out, errors);
  }
  out->end();
}
