// The ethtool ioctl of the card's interfaces: what the driver says of the plugged modules.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "host/trapped_call.h"
#include "vcard/card.h"

namespace vcard {

struct Module;

/// Must be called with the card's lock held. Reads the section "modules".
class EthtoolWire {
 public:
  explicit EthtoolWire(Card& card);
  ~EthtoolWire();

  /// Answers one trapped ioctl. Interfaces that are not of the card's driver are refused.
  void handle(TrappedCall& call);

 private:
  // Each returns 0 or errno.
  int information_answer(const TrappedCall& call, uint64_t address, const Module& module) const;
  int eeprom_answer(const TrappedCall& call, uint64_t address, const Module& module) const;
  int answer(const TrappedCall& call, const std::string& interface, uint64_t address) const;

  Card& card_;
  std::map<std::string, std::unique_ptr<Module>> modules_;  // by interface
};

}  // namespace vcard
