// What the management processor and the kernel tell of a card.
#include <cstdio>

#include "collect.h"
#include "device/function.h"
#include "device/sysfs.h"
#include "fwupdate/running.h"
#include "info/mac_addresses.h"
#include "info/part_number.h"
#include "info/serial_number.h"
#include "info/temperature.h"

namespace {

constexpr int TEMPERATURE_ATTEMPTS = 3;

void text_unless_empty(value_sink* out, term what, const std::string& text) {
  if (!text.empty()) {
    out->text(what, text);
  }
}

void mac_addresses_collect(card* asked, value_sink* out, collect_errors* errors) {
  kxtool_mac_addresses answer;
  if (kxtool_mac_addresses_ask(asked->device(), &answer) != 0 || answer.status != 0 || answer.count == 0 ||
      answer.count > KXTOOL_MAC_ADDRESSES_MAX) {
    errors->push_back("the card does not tell its MAC addresses");
    return;
  }
  out->begin(term::mac_addresses);
  for (uint16_t i = 0; i < answer.count; ++i) {
    const uint8_t* mac = answer.addresses[i];
    char text[18];
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    out->text(term::mac_address, text);
  }
  out->end();
}

bool serial_number_ask(card* asked, std::string* serial) {
  kxtool_serial_number answer;
  if (kxtool_serial_number_ask(asked->device(), &answer) != 0 || answer.status != 0) {
    return false;
  }
  *serial = answer.text;
  return true;
}

bool temperature_ask(card* asked, int32_t* celsius) {
  for (int i = 0; i < TEMPERATURE_ATTEMPTS; ++i) {
    kxtool_temperature answer;
    if (kxtool_temperature_ask(asked->device(), &answer) == 0 && answer.status == 0 &&
        answer.celsius < KXTOOL_TEMPERATURE_LIMIT) {
      *celsius = answer.celsius;
      return true;
    }
  }
  return false;
}

}  // namespace

void kernel_names_collect(const card_place& place, value_sink* out) {
  text_unless_empty(out, term::vendor_id, kxtools_file_line(kxtools_function_path(place.sbdf, "vendor")));
  text_unless_empty(out, term::device_id, kxtools_file_line(kxtools_function_path(place.sbdf, "device")));
  char driver[64];
  if (kxtools_dev_driver_get(place.address.c_str(), driver)) {
    out->text(term::kernel_driver, driver);
  }
}

void identity_collect(card* asked, value_sink* out, collect_errors* errors) {
  out->begin(term::identity);
  if (std::string serial; serial_number_ask(asked, &serial)) {
    out->text(term::serial_number, serial);
  } else {
    errors->push_back("the card does not tell its serial number");
  }
  kxtool_part_number part;
  const int32_t told = kxtool_pn_get(asked->device(), &part);
  if (told == 0) {
    out->text(term::part_number, part.text);
  } else if (told != KXTOOL_PN_NOT_SUPPORTED) {
    errors->push_back("the card does not tell its part number");
  }
  kernel_names_collect(asked->place(), out);
  mac_addresses_collect(asked, out, errors);
  out->end();
}

void firmware_collect(card* asked, value_sink* out, collect_errors* errors) {
  fw_running running;
  if (kxtool_fw_running_ask(asked->device(), &running) != 0) {
    errors->push_back("the card does not tell what firmware runs");
    return;
  }
  out->begin(term::firmware);
  out->text(term::version, running.version.data());
  out->gauge(term::partition, running.partition);
  out->flag(term::allows_update, running.allows_update != 0);
  out->end();
}

void temperature_collect(card* asked, value_sink* out, collect_errors* errors) {
  if (int32_t celsius = 0; temperature_ask(asked, &celsius)) {
    out->gauge(term::temperature, celsius);
  } else {
    errors->push_back("the card gives no good temperature");
  }
}

namespace {

void short_channel_collect(card* asked, value_sink* out, collect_errors* errors) {
  if (std::string serial; serial_number_ask(asked, &serial)) {
    out->text(term::serial_number, serial);
  } else {
    errors->push_back("the card does not tell its serial number");
  }
  if (fw_running running; kxtool_fw_running_ask(asked->device(), &running) == 0) {
    out->text(term::firmware_version, running.version.data());
    out->gauge(term::partition, running.partition);
  } else {
    errors->push_back("the card does not tell what firmware runs");
  }
  temperature_collect(asked, out, errors);
}

/// Takes the health's numbers out of its tree, which a list has no room for.
void short_health_collect(value_sink* out, collect_errors* errors) {
  value root = {.what = term::card, .number = 0, .text = {}, .children = {}};
  value_builder builder(&root);
  health_collect({.sections = SECTION_HEALTH, .units = {}}, &builder, errors);
  const value* health = root.find(term::health);
  const value* failed = health == nullptr ? nullptr : health->find(term::checks_failed);
  const value* healthy = health == nullptr ? nullptr : health->find(term::healthy);
  if (failed != nullptr && healthy != nullptr) {
    out->text(term::health_text, healthy->number != 0 ? "good"
                                 : failed->number != 0
                                     ? std::to_string(failed->number) + " of " +
                                           std::to_string(health->find(term::checks_done)->number) + " checks failed"
                                     : "not known");
    out->flag(term::healthy, healthy->number != 0);
  }
}

}  // namespace

void short_collect(card* asked, bool channel, bool bound, value_sink* out, collect_errors* errors) {
  if (channel) {
    short_channel_collect(asked, out, errors);
  }
  if (pcie_link link; pcie_link_read(asked->place().sbdf, &link)) {
    char text[64];
    snprintf(text, sizeof text, "x%u at %.1f GT/s", link.width, static_cast<double>(link.speed) / 1e9);
    out->text(term::link_text, text);
    out->flag(term::link_at_best, link.at_best);
  }
  if (bound) {
    short_health_collect(out, errors);
  }
}
