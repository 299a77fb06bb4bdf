// The card's side of the mailbox in BAR 0: a request slot that the tool fills and a notice slot that the card fills.
#pragma once

#include <vector>

#include "vcard/card.h"
#include "vcard/fault_range.h"

namespace vcard {

/// Watches the request slot on the card thread, answers what it finds, and takes notices to the notice slot while no
/// tool is attached over the driver. Reads faults.mailbox.
class Mailbox {
 public:
  explicit Mailbox(Card& card);

 private:
  struct Fault {
    bool any_event;
    uint16_t event_id;
    FaultRange range;
    bool never_answers;
    int64_t message_id;  // -1: as sent
    int64_t length;      // -1: as it is
    bool no_ack;
    bool takes_bar;  // a driver claims BAR 0 before the answer
  };
  Fault* fault_of(uint16_t event_id);
  void load_faults(const CardSection& section);
  bool poll();
  bool take_request();
  bool watch_notice();
  void answer(const Fault* fault, ByteView header, const Bytes& reply);
  bool put_notice(uint16_t event_id, ByteView payload);
  size_t area() const;
  Bytes read_slot(size_t slot, size_t size) const;
  void write_payload(size_t slot, ByteView payload);

  Card& card_;
  std::vector<Fault> faults_;
  uint8_t notice_flags_;
  Bytes ignored_header_;  // of the request that stays without an answer; empty: none
  bool notice_out_ = false;
  bool attached_ = false;
};

}  // namespace vcard
