// What the kernel's folders tell of a PCI function, and whether it is one of the card's. No card is touched.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "device/address.h"

/// 0 when vendor and device of the function are those of a supported card function, else -1.
int32_t sbdf_valid_check(kxtools_sbdf sbdf);
/// The same without a message.
bool kxtools_function_is_supported(kxtools_sbdf sbdf);
/// True when the kernel knows the function and it is none of the card's: nobody reads or maps anything of it.
bool kxtools_dev_is_foreign(kxtools_sbdf sbdf);
/// True when the function is a port of the card's own switch.
bool kxtools_is_own_switch(kxtools_sbdf sbdf);
/// True when the files "vendor" and "device" of a function's folder are those of a supported card function.
bool kxtools_folder_is_supported(const std::string& folder);

/// True for a vendor and device pair of a supported card function.
bool kxtools_dev_is_supported(uint32_t vendor, uint32_t device);
/// True for the card's own PCIe switch, which is listed but cannot be bound.
bool kxtools_dev_is_switch(uint32_t vendor, uint32_t device);
/// The "tool may bind" column of the first row of the supported-function table with that pair, else 0.
uint32_t is_tools_bind_pf(uint32_t vendor, uint32_t device);
/// Calls `visit` for every range of device identifiers of a vendor that a supported card function can have.
void kxtools_supported_functions_visit(void (*visit)(uint32_t vendor, uint32_t first, uint32_t last));

/// Name of the driver that the function is bound to, cut to the room. False when there is none.
bool kxtools_dev_driver_get(const char* sbdf_text, char (&name)[64]);
/// The bridges above the function, the outermost first, as the kernel's tree of devices has them; none in a virtual
/// machine that was given the function alone.
std::vector<kxtools_sbdf> kxtools_ports_above(kxtools_sbdf sbdf);

// Start and size of a BAR, index 0 to 5, as the kernel has them. Return 0, or -1 with a message.
int32_t get_bar_addr_from_sys_ext(kxtools_sbdf sbdf, uint32_t bar_index, uint64_t* address);
int32_t get_bar_size_from_sys_ext(kxtools_sbdf sbdf, uint32_t bar_index, uint64_t* size);
