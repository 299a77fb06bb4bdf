// The network interfaces of the cards of this host, as the kernel's directories show them.
#pragma once

#include <string>
#include <vector>

#include "kxtools/dev.h"

struct kxtools_card_interface {
  std::string name;
  kxtools_sbdf sbdf;
};

/// All interfaces whose function is one of a supported card, by address, then by name; virtual functions too. Those
/// whose segment is above ffff, which no address of the tool can name, are left out; `out_of_reach` takes their names
/// when it is given. Prints nothing, touches no card. False when the kernel's list cannot be read.
bool kxtools_card_interfaces(std::vector<kxtools_card_interface>* interfaces,
                             std::vector<std::string>* out_of_reach = nullptr);

/// True when the host has a network interface of that name.
bool kxtools_interface_exists(const char* name);

/// True when vendor and device of the function are those of a supported card function; sbdf_valid_check without a
/// message.
bool kxtools_function_is_supported(kxtools_sbdf sbdf);

/// Calls `visit` for every range of device identifiers of a vendor that a supported card function can have.
void kxtools_supported_functions_visit(void (*visit)(uint32_t vendor, uint32_t first, uint32_t last));
