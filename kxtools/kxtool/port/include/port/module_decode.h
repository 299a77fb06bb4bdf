// Decoding of a module's EEPROM: SFP (SFF-8472), QSFP (SFF-8636) and CMIS modules. Pure: bytes in, values out.
#pragma once

#include <cstdint>
#include <span>

inline constexpr uint32_t MODULE_LANES_MAX = 4;

/// Monitors of one lane.
struct module_lane {
  double bias_ma;
  double send_mw;
  double receive_mw;
};

struct module_info {
  uint8_t identifier = 0;
  const char* kind = nullptr;  ///< name of the identifier
  char vendor[17] = {};        ///< texts are cut at trailing blanks; what does not print is '?'
  char part[17] = {};
  char revision[5] = {};
  char serial[17] = {};
  char date[9] = {};  ///< as the module has it: two digits each of year, month, day, then the lot
  uint8_t oui[3] = {};
  uint32_t bit_rate = 0;      ///< Mbit/s of one lane; 0 when the module does not say
  bool sums_good = false;     ///< the sums over the identity are those that the module holds
  bool has_monitors = false;  ///< temperature and voltage are there
  double temperature = 0;     ///< degrees Celsius
  double voltage = 0;         ///< volts
  uint32_t lane_count = 0;    ///< lanes with monitors
  module_lane lanes[MODULE_LANES_MAX] = {};
};

enum class module_decode_result : uint8_t { good, too_short, unknown_identifier };

/// Decodes an EEPROM that begins with the module's identifier byte. Needs 96 bytes of an SFP module (its monitors are
/// there with 512) and 224 of the others.
module_decode_result module_decode(std::span<const uint8_t> eeprom, module_info* info);
