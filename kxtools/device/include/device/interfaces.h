// The network interfaces of the cards of this host, as the kernel's directories show them, and the way from the word
// that a user gives to a PCI address.
#pragma once

#include <string>
#include <vector>

#include "device/address.h"

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

/// True when `word` can be the name of a network interface and of nothing else in a path: 1 to 15 characters, no '/',
/// not "." or "..".
bool kxtools_is_interface_name(const char* word);

/// Turns a PCI address text, with or without its segment, or the name of a network interface into a PCI address.
/// Returns 0, or -1 with a message.
int32_t kxtools_dev_name2bdf(const char* name, kxtools_sbdf* sbdf);
