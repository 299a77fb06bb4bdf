// A path of traffic: packet and byte counters in both directions that advance at set rates from the start of the card.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>

#include "vcard/card_file.h"

namespace vcard {

class Flow {
 public:
  enum Counter : size_t { send_packets, send_bytes, receive_packets, receive_bytes, counters };

  Flow() = default;
  /// "send_packets" and so on are where the counters begin, "send_packet_rate" and so on what they gain per second.
  explicit Flow(const CardSection& section);

  uint64_t value(Counter counter) const;
  /// Sets counters back, or adds what passed at once.
  void set(Counter counter, uint64_t value);
  void set_rate(Counter counter, uint64_t per_second);

 private:
  using Clock = std::chrono::steady_clock;
  struct Count {
    uint64_t base = 0;
    uint64_t rate = 0;
    Clock::time_point since = Clock::now();
  };
  std::array<Count, counters> counts_;
};

}  // namespace vcard
