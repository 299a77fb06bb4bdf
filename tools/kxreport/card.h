// The card as reports need it. What is used of the tool's libraries for a device stands behind this page: finding
// functions, locks, the driver's channel, the units.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "channel/device.h"
#include "kxtools/unit.h"

/// A function of a card.
struct card_place {
  std::string device;  ///< network interface, "" without one
  std::string address;
  uint32_t sbdf = 0;
};

/// All physical functions of supported cards of this host by address, those that do not answer included. Touches
/// nothing but the kernel's files. False when the kernel's list cannot be read.
bool cards_find(std::vector<card_place>* places);

/// The function that a word names: an interface, or a PCI address with or without its segment. False with one line in
/// `why`.
bool card_find(const char* word, card_place* place, std::string* why);

/// The function of this process: one a process, used by one thread. Lines of the libraries go to the standard streams.
class card {
 public:
  explicit card(const card_place& place);

  /// Takes the locks that a maintenance command takes, beside others that ask the card. False with a reason.
  bool acquire(std::string* why);
  /// Opens the channel to the driver. False with a reason.
  bool channel_open(std::string* why);
  /// Makes card memory reachable. False with a reason.
  bool bind(std::string* why);
  /// The driver's registration ends before another tool may begin one.
  void close();

  const card_place& place() const {
    return place_;
  }
  kxtool_device* device() {
    return &device_;
  }

 private:
  const card_place& place_;
  kxtool_device device_;
};

/// Sets up the units and command tables of this build. False with a line.
bool units_init();
std::vector<const kxtools_unit*> units_all();
