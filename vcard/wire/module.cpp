#include "module.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace vcard {

namespace {

enum Kind : size_t { sfp, qsfp, cmis };
constexpr const char* kind_names[] = {"sfp", "qsfp", "cmis"};

constexpr size_t page_size = 256;

/// Where a kind of module keeps its identity. A sum covers the bytes from `sum_first` up to its own place.
struct Layout {
  uint8_t identifier;
  uint32_t type;
  size_t length;
  size_t vendor, oui, part, revision, revision_length, serial, date;
  size_t sum_first, sum;
  size_t date_sum_first, date_sum;  // 0: none
  size_t temperature, voltage;
};

constexpr Layout layouts[] = {
    {0x03, 2, 2 * page_size, 20, 37, 40, 56, 4, 68, 84, 0, 63, 64, 95, page_size + 96, page_size + 98},
    {0x11, 3, page_size, 148, 165, 168, 184, 2, 196, 212, 128, 191, 192, 223, 22, 26},
    {0x18, 3, page_size, 129, 145, 148, 164, 2, 166, 182, 128, 222, 0, 0, 14, 16},
};

void put_be16(Bytes& bytes, size_t offset, int64_t value) {
  bytes[offset] = static_cast<uint8_t>(value >> 8);
  bytes[offset + 1] = static_cast<uint8_t>(value);
}

/// Texts are filled up with blanks.
void put_text(Bytes& bytes, size_t offset, size_t length, const std::string& text) {
  for (size_t i = 0; i < length; ++i) {
    bytes[offset + i] = i < text.size() ? static_cast<uint8_t>(text[i]) : ' ';
  }
}

void put_sum(Bytes& bytes, size_t first, size_t place) {
  uint8_t sum = 0;
  for (size_t i = first; i < place; ++i) {
    sum = static_cast<uint8_t>(sum + bytes[i]);
  }
  bytes[place] = sum;
}

/// One value a lane; the last one stands for the lanes after it.
uint64_t lane_value(const std::vector<uint64_t>& values, size_t lane) {
  return values.empty() ? 0 : values[std::min(lane, values.size() - 1)];
}

/// Lane monitors: light in units of 0.1 microwatt, current in units of 2 microampere.
void monitors_fill(const CardSection& section, Kind kind, Bytes& bytes) {
  const std::vector<uint64_t> receive = section.numbers("receive_power", {500}, 6553);
  const std::vector<uint64_t> send = section.numbers("send_power", {800}, 6553);
  const std::vector<uint64_t> bias = section.numbers("bias", {6500}, 131070);
  if (kind == sfp) {
    put_be16(bytes, page_size + 100, static_cast<int64_t>(lane_value(bias, 0) / 2));
    put_be16(bytes, page_size + 102, static_cast<int64_t>(lane_value(send, 0) * 10));
    put_be16(bytes, page_size + 104, static_cast<int64_t>(lane_value(receive, 0) * 10));
  }
  for (size_t lane = 0; kind == qsfp && lane < 4; ++lane) {
    put_be16(bytes, 34 + 2 * lane, static_cast<int64_t>(lane_value(receive, lane) * 10));
    put_be16(bytes, 42 + 2 * lane, static_cast<int64_t>(lane_value(bias, lane) / 2));
    put_be16(bytes, 50 + 2 * lane, static_cast<int64_t>(lane_value(send, lane) * 10));
  }
}

void identity_fill(const CardSection& section, Kind kind, const Layout& layout, Bytes& bytes) {
  bytes[0] = layout.identifier;
  if (kind != sfp) {
    bytes[128] = layout.identifier;
  }
  put_text(bytes, layout.vendor, 16, section.text("vendor", "CORVANE OPTICS", 16));
  const uint8_t oui[] = {0x02, 0x1c, 0xf2};
  std::copy(std::begin(oui), std::end(oui), bytes.begin() + static_cast<ptrdiff_t>(layout.oui));
  put_text(bytes, layout.part, 16, section.text("part", "CVO-28-SR", 16));
  put_text(bytes, layout.revision, layout.revision_length, section.text("revision", "A1", layout.revision_length));
  put_text(bytes, layout.serial, 16, section.text("serial", "CVO2601A00017", 16));
  put_text(bytes, layout.date, 8, section.text("date", "260314", 8));
  if (kind == sfp) {
    bytes[12] = 103;   // 10300 Mbit/s
    bytes[92] = 0x68;  // monitors, calibrated in the module
  }
  if (kind == qsfp) {
    bytes[140] = 255;  // more than byte 140 can say: byte 222, in units of 250 Mbit/s
    bytes[222] = 103;
  }
}

}  // namespace

Module module_load(const CardSection& section) {
  const Kind kind = static_cast<Kind>(section.choice("kind", qsfp, kind_names));
  const Layout& layout = layouts[kind];
  Module module;
  module.error = section.flag("absent", false) ? ENXIO : 0;
  module.error = static_cast<int>(section.number("errno", static_cast<uint64_t>(module.error), 133));
  module.type = static_cast<uint32_t>(section.number("type", layout.type, UINT32_MAX));
  module.eeprom.resize(layout.length);
  module.length = static_cast<uint32_t>(section.number("eeprom_length", layout.length, UINT32_MAX));
  module.answer_max = section.number("answer_length", UINT64_MAX);
  identity_fill(section, kind, layout, module.eeprom);
  put_be16(module.eeprom, layout.temperature, section.signed_number("temperature", 38, -128, 127) * 256);
  put_be16(module.eeprom, layout.voltage, static_cast<int64_t>(section.number("voltage", 3300, 6553) * 10));
  monitors_fill(section, kind, module.eeprom);
  put_sum(module.eeprom, layout.sum_first, layout.sum);
  if (layout.date_sum != 0) {
    put_sum(module.eeprom, layout.date_sum_first, layout.date_sum);
  }
  const CardSection bytes = section.section("bytes");
  for (const std::string& key : bytes.keys()) {
    const Bytes patch = bytes.bytes(key.c_str(), {});
    char* end = nullptr;
    const size_t at = strtoul(key.c_str(), &end, 0);
    if (*end != '\0' || at > module.eeprom.size() || patch.size() > module.eeprom.size() - at) {
      bytes.complain(key, "not a place in the EEPROM");
      continue;
    }
    std::copy(patch.begin(), patch.end(), module.eeprom.begin() + static_cast<ptrdiff_t>(at));
  }
  return module;
}

}  // namespace vcard
