// The alarms that a module raises itself, from its EEPROM.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// "temperature high", "lane 2 bias low": what stands in the alarm flags of an SFP module with its second half, of a
/// QSFP or of a CMIS module; none of bytes that are too short or of another kind.
std::vector<std::string> module_alarms(std::span<const uint8_t> eeprom);
