#include "port/module_decode.h"

#include <cmath>
#include <cstring>

namespace {

enum class family : uint8_t { sfp, qsfp, cmis };

struct identifier_row {
  uint8_t identifier;
  family layout;
  const char* name;
};
constexpr identifier_row IDENTIFIERS[] = {
    {0x03, family::sfp, "SFP/SFP+/SFP28"},
    {0x0C, family::qsfp, "QSFP"},
    {0x0D, family::qsfp, "QSFP+"},
    {0x11, family::qsfp, "QSFP28"},
    {0x18, family::cmis, "QSFP-DD"},
    {0x19, family::cmis, "OSFP"},
    {0x1B, family::cmis, "DSFP"},
    {0x1E, family::cmis, "QSFP+ with CMIS"},
    {0x1F, family::cmis, "SFP-DD with CMIS"},
};

/// A sum over the bytes from `first` up to its place.
struct sum_row {
  uint16_t first;
  uint16_t place;
};

/// Where a family of modules keeps its identity.
struct identity_layout {
  uint16_t needed;  // bytes
  uint16_t vendor, oui, part, revision, revision_length, serial, date;
  sum_row sums[2];  // a place of 0 is none
};
constexpr identity_layout LAYOUTS[] = {
    {96, 20, 37, 40, 56, 4, 68, 84, {{0, 63}, {64, 95}}},
    {224, 148, 165, 168, 184, 2, 196, 212, {{128, 191}, {192, 223}}},
    {224, 129, 145, 148, 164, 2, 166, 182, {{128, 222}, {0, 0}}},
};

constexpr size_t VENDOR_LENGTH = 16;
constexpr size_t DATE_LENGTH = 8;

constexpr double MW_PER_COUNT = 0.0001;  // light in units of 0.1 microwatt
constexpr double MA_PER_COUNT = 0.002;   // current in units of 2 microampere
constexpr double V_PER_COUNT = 0.0001;   // voltage in units of 100 microvolt
constexpr double DEGREES_PER_COUNT = 1.0 / 256;

using bytes = std::span<const uint8_t>;

uint16_t be16(bytes eeprom, size_t offset) {
  return static_cast<uint16_t>(eeprom[offset] << 8 | eeprom[offset + 1]);
}

int16_t be16_signed(bytes eeprom, size_t offset) {
  return static_cast<int16_t>(be16(eeprom, offset));
}

double be_float(bytes eeprom, size_t offset) {
  const uint32_t word = uint32_t{be16(eeprom, offset)} << 16 | be16(eeprom, offset + 2);
  float value = 0;
  memcpy(&value, &word, sizeof value);
  return std::isfinite(value) ? value : 0;
}

void text_take(bytes eeprom, size_t offset, size_t length, char* text) {
  size_t end = 0;
  for (size_t i = 0; i < length; ++i) {
    const uint8_t c = eeprom[offset + i];
    text[i] = c >= ' ' && c <= '~' ? static_cast<char>(c) : c == 0 ? ' ' : '?';
    end = text[i] == ' ' ? end : i + 1;
  }
  text[end] = '\0';
}

bool sum_is_good(bytes eeprom, const sum_row& row) {
  uint8_t sum = 0;
  for (size_t i = row.first; i < row.place; ++i) {
    sum = static_cast<uint8_t>(sum + eeprom[i]);
  }
  return row.place == 0 || sum == eeprom[row.place];
}

void identity_decode(bytes eeprom, const identity_layout& layout, module_info* info) {
  text_take(eeprom, layout.vendor, VENDOR_LENGTH, info->vendor);
  text_take(eeprom, layout.part, VENDOR_LENGTH, info->part);
  text_take(eeprom, layout.revision, layout.revision_length, info->revision);
  text_take(eeprom, layout.serial, VENDOR_LENGTH, info->serial);
  text_take(eeprom, layout.date, DATE_LENGTH, info->date);
  memcpy(info->oui, &eeprom[layout.oui], sizeof info->oui);
  info->sums_good = sum_is_good(eeprom, layout.sums[0]) && sum_is_good(eeprom, layout.sums[1]);
}

// SFP modules tell their monitors in a second half, "A2h", and the module or the host calibrates them.
constexpr size_t SFP_BIT_RATE = 12;  // units of 100 Mbit/s; all ones: byte 66, units of 250 Mbit/s
constexpr size_t SFP_BIT_RATE_LONG = 66;
constexpr size_t SFP_MONITORING = 92;
constexpr uint8_t SFP_HAS_MONITORS = 0x40;
constexpr uint8_t SFP_HOST_CALIBRATES = 0x10;
constexpr size_t SFP_A2 = 256;
constexpr size_t SFP_RECEIVE_FACTORS = 56;  // five floats, the highest power first
constexpr size_t SFP_BIAS_SLOPE = 76;       // then its offset; the other values follow alike
constexpr size_t SFP_SEND_SLOPE = 80;
constexpr size_t SFP_TEMPERATURE_SLOPE = 84;
constexpr size_t SFP_VOLTAGE_SLOPE = 88;
constexpr size_t SFP_TEMPERATURE = 96;
constexpr size_t SFP_VOLTAGE = 98;
constexpr size_t SFP_BIAS = 100;
constexpr size_t SFP_SEND = 102;
constexpr size_t SFP_RECEIVE = 104;

uint32_t bit_rate_of(uint8_t hundreds, uint8_t quarters) {
  return hundreds == 0xFF ? quarters * 250u : hundreds * 100u;
}

double calibrated(bytes a2, size_t slope, double raw) {
  return be16(a2, slope) / 256.0 * raw + be16_signed(a2, slope + 2);
}

double receive_calibrated(bytes a2, double raw) {
  double value = 0;
  for (size_t i = 0; i < 5; ++i) {
    value = value * raw + be_float(a2, SFP_RECEIVE_FACTORS + 4 * i);
  }
  return std::isfinite(value) && value > 0 ? value : 0;
}

void sfp_decode(bytes eeprom, module_info* info) {
  info->bit_rate = bit_rate_of(eeprom[SFP_BIT_RATE], eeprom[SFP_BIT_RATE_LONG]);
  info->has_monitors = (eeprom[SFP_MONITORING] & SFP_HAS_MONITORS) != 0 && eeprom.size() >= SFP_A2 + 128;
  if (!info->has_monitors) {
    return;
  }
  const bytes a2 = eeprom.subspan(SFP_A2);
  double temperature = be16_signed(a2, SFP_TEMPERATURE);
  double voltage = be16(a2, SFP_VOLTAGE);
  double bias = be16(a2, SFP_BIAS);
  double send = be16(a2, SFP_SEND);
  double receive = be16(a2, SFP_RECEIVE);
  if ((eeprom[SFP_MONITORING] & SFP_HOST_CALIBRATES) != 0) {
    temperature = calibrated(a2, SFP_TEMPERATURE_SLOPE, temperature);
    voltage = calibrated(a2, SFP_VOLTAGE_SLOPE, voltage);
    bias = calibrated(a2, SFP_BIAS_SLOPE, bias);
    send = calibrated(a2, SFP_SEND_SLOPE, send);
    receive = receive_calibrated(a2, receive);
  }
  info->temperature = temperature * DEGREES_PER_COUNT;
  info->voltage = voltage * V_PER_COUNT;
  info->lane_count = 1;
  info->lanes[0] = {bias * MA_PER_COUNT, send * MW_PER_COUNT, receive * MW_PER_COUNT};
}

constexpr size_t QSFP_TEMPERATURE = 22;
constexpr size_t QSFP_VOLTAGE = 26;
constexpr size_t QSFP_RECEIVE = 34;
constexpr size_t QSFP_BIAS = 42;
constexpr size_t QSFP_SEND = 50;
constexpr size_t QSFP_BIT_RATE = 140;
constexpr size_t QSFP_BIT_RATE_LONG = 222;
constexpr uint32_t QSFP_LANES = 4;

void qsfp_decode(bytes eeprom, module_info* info) {
  info->bit_rate = bit_rate_of(eeprom[QSFP_BIT_RATE], eeprom[QSFP_BIT_RATE_LONG]);
  info->has_monitors = true;
  info->temperature = be16_signed(eeprom, QSFP_TEMPERATURE) * DEGREES_PER_COUNT;
  info->voltage = be16(eeprom, QSFP_VOLTAGE) * V_PER_COUNT;
  info->lane_count = QSFP_LANES;
  for (size_t lane = 0; lane < QSFP_LANES; ++lane) {
    info->lanes[lane] = {be16(eeprom, QSFP_BIAS + 2 * lane) * MA_PER_COUNT,
                         be16(eeprom, QSFP_SEND + 2 * lane) * MW_PER_COUNT,
                         be16(eeprom, QSFP_RECEIVE + 2 * lane) * MW_PER_COUNT};
  }
}

constexpr size_t CMIS_TEMPERATURE = 14;
constexpr size_t CMIS_VOLTAGE = 16;

// The lanes' monitors of these modules lie on a page that the drivers' flat view does not have.
void cmis_decode(bytes eeprom, module_info* info) {
  info->has_monitors = true;
  info->temperature = be16_signed(eeprom, CMIS_TEMPERATURE) * DEGREES_PER_COUNT;
  info->voltage = be16(eeprom, CMIS_VOLTAGE) * V_PER_COUNT;
}

}  // namespace

module_decode_result module_decode(std::span<const uint8_t> eeprom, module_info* info) {
  *info = {};
  if (eeprom.empty()) {
    return module_decode_result::too_short;
  }
  info->identifier = eeprom[0];
  const identifier_row* found = nullptr;
  for (const identifier_row& row : IDENTIFIERS) {
    found = row.identifier == eeprom[0] ? &row : found;
  }
  if (found == nullptr) {
    return module_decode_result::unknown_identifier;
  }
  info->kind = found->name;
  const identity_layout& layout = LAYOUTS[static_cast<size_t>(found->layout)];
  if (eeprom.size() < layout.needed) {
    return module_decode_result::too_short;
  }
  identity_decode(eeprom, layout, info);
  switch (found->layout) {
    case family::sfp:
      sfp_decode(eeprom, info);
      break;
    case family::qsfp:
      qsfp_decode(eeprom, info);
      break;
    case family::cmis:
      cmis_decode(eeprom, info);
      break;
  }
  return module_decode_result::good;
}
