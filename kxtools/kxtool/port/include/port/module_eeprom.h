// Reading the EEPROM of the module behind a network interface, through the interface's driver.
#pragma once

#include <cstdint>
#include <vector>

/// Reads the flat view of the EEPROM, 256 or 512 bytes, less when the driver has less. Returns 0, or -1 with a message
/// (no module, driver without this service, failed or empty answer).
int32_t module_eeprom_read(const char* interface, std::vector<uint8_t>* eeprom);

/// The same without a message: 0, or the errno of the driver: ENXIO or ENODEV without a module, EOPNOTSUPP when it
/// cannot read modules.
int module_eeprom_ask(const char* interface, std::vector<uint8_t>* eeprom);
