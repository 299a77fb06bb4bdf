#include "module_alarms.h"

namespace {

/// One flag: a byte of the EEPROM, a bit of it.
struct alarm_row {
  uint16_t place;
  uint8_t bit;
  const char* name;
};

constexpr uint16_t SFP_A2 = 256;
constexpr alarm_row SFP_ALARMS[] = {
    {SFP_A2 + 112, 7, "temperature high"},   {SFP_A2 + 112, 6, "temperature low"},
    {SFP_A2 + 112, 5, "voltage high"},       {SFP_A2 + 112, 4, "voltage low"},
    {SFP_A2 + 112, 3, "bias high"},          {SFP_A2 + 112, 2, "bias low"},
    {SFP_A2 + 112, 1, "send power high"},    {SFP_A2 + 112, 0, "send power low"},
    {SFP_A2 + 113, 7, "receive power high"}, {SFP_A2 + 113, 6, "receive power low"},
};
constexpr alarm_row QSFP_ALARMS[] = {
    {6, 7, "temperature high"},
    {6, 6, "temperature low"},
    {7, 7, "voltage high"},
    {7, 6, "voltage low"},
    {9, 7, "lane 1 receive power high"},
    {9, 6, "lane 1 receive power low"},
    {9, 3, "lane 2 receive power high"},
    {9, 2, "lane 2 receive power low"},
    {10, 7, "lane 3 receive power high"},
    {10, 6, "lane 3 receive power low"},
    {10, 3, "lane 4 receive power high"},
    {10, 2, "lane 4 receive power low"},
    {11, 7, "lane 1 bias high"},
    {11, 6, "lane 1 bias low"},
    {11, 3, "lane 2 bias high"},
    {11, 2, "lane 2 bias low"},
    {12, 7, "lane 3 bias high"},
    {12, 6, "lane 3 bias low"},
    {12, 3, "lane 4 bias high"},
    {12, 2, "lane 4 bias low"},
    {13, 7, "lane 1 send power high"},
    {13, 6, "lane 1 send power low"},
    {13, 3, "lane 2 send power high"},
    {13, 2, "lane 2 send power low"},
    {14, 7, "lane 3 send power high"},
    {14, 6, "lane 3 send power low"},
    {14, 3, "lane 4 send power high"},
    {14, 2, "lane 4 send power low"},
};
constexpr alarm_row CMIS_ALARMS[] = {
    {9, 0, "temperature high"}, {9, 1, "temperature low"}, {9, 4, "voltage high"}, {9, 5, "voltage low"}};

constexpr size_t SFP_MONITORING = 92;
constexpr uint8_t SFP_HAS_MONITORS = 0x40;

std::span<const alarm_row> rows_of(std::span<const uint8_t> eeprom) {
  if (eeprom.empty()) {
    return {};
  }
  switch (eeprom[0]) {
    case 0x03:
      // Without monitors the second half is no flags.
      return eeprom.size() > SFP_MONITORING && (eeprom[SFP_MONITORING] & SFP_HAS_MONITORS) != 0
                 ? std::span<const alarm_row>(SFP_ALARMS)
                 : std::span<const alarm_row>();
    case 0x0C:
    case 0x0D:
    case 0x11:
      return QSFP_ALARMS;
    case 0x18:
    case 0x19:
    case 0x1B:
    case 0x1E:
    case 0x1F:
      return CMIS_ALARMS;
    default:
      return {};
  }
}

}  // namespace

std::vector<std::string> module_alarms(std::span<const uint8_t> eeprom) {
  std::vector<std::string> alarms;
  for (const alarm_row& row : rows_of(eeprom)) {
    if (row.place < eeprom.size() && (eeprom[row.place] >> row.bit & 1) != 0) {
      alarms.emplace_back(row.name);
    }
  }
  return alarms;
}
