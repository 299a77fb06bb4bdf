// The card's side of the tunnel over the VPD capability: watches the VPD dword of every function, does what the command
// in it says, and answers by toggling the flag.
#pragma once

#include <vector>

#include "vcard/card.h"
#include "vcard/fault_range.h"

namespace vcard {

/// Reads faults.configuration and faults.tunnel.
class Tunnel {
 public:
  explicit Tunnel(Card& card);

 private:
  /// What the other users of the channel do to the field between flag and capability header.
  enum class Channel : uint8_t { still, free_mark, changing };

  /// Transfers by number, counted over all functions from 0, and what goes wrong with them.
  struct Fault {
    FaultRange range;
    bool flag_stuck;    // never answered
    bool vanish;        // the function falls off the bus instead of answering
    uint64_t delay_ms;  // answered late
    int64_t status;     // value of a status read; -1: the true one
  };

  struct Port {
    PciFunction* function;
    uint32_t header = 0;  // capability id and next pointer, which no write changes
    uint32_t last = 0;    // the dword as this side left it
    uint64_t address = 0;
    bool open = false;      // a command has had no answer yet
    uint64_t transfer = 0;  // its number
    uint32_t status = 1;
  };

  void load_faults(const CardSection& faults);
  void create();
  void break_configuration(PciFunction& function);
  bool poll();
  bool look(Port& port);
  void serve(Port& port, uint32_t command);
  uint32_t execute(Port& port, uint32_t command, uint32_t data);
  void answer(Port& port, uint32_t command, uint32_t data);
  void leave(Port& port, uint32_t value);
  void stir(Port& port);
  const Fault* fault_of(uint64_t transfer) const;
  bool is_bad_address(uint64_t address) const;

  Card& card_;
  std::vector<Port> ports_;
  std::vector<Fault> faults_;
  std::vector<uint64_t> bad_addresses_;
  Channel channel_ = Channel::still;
  uint64_t pointer_ = 0;
  bool has_pointer_ = false;
  bool capability_loop_ = false;
  bool extended_loop_ = false;
  bool all_ones_ = false;
  uint64_t transfers_ = 0;
};

}  // namespace vcard
