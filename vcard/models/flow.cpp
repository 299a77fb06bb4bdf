#include "flow.h"

namespace vcard {

Flow::Flow(const CardSection& section) {
  static constexpr const char* names[] = {"send_packets", "send_bytes", "receive_packets", "receive_bytes"};
  static constexpr const char* rates[] = {"send_packet_rate", "send_byte_rate", "receive_packet_rate",
                                          "receive_byte_rate"};
  constexpr uint64_t rate_max = 1000000000000;
  for (size_t i = 0; i < counters; ++i) {
    counts_[i].base = section.number(names[i], 0);
    counts_[i].rate = section.number(rates[i], 0, rate_max);
  }
}

uint64_t Flow::value(Counter counter) const {
  const Count& count = counts_[counter];
  const auto elapsed = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - count.since).count();
  const uint64_t us = static_cast<uint64_t>(elapsed);
  return count.base + count.rate * (us / 1000000) + count.rate * (us % 1000000) / 1000000;
}

void Flow::set(Counter counter, uint64_t value) {
  counts_[counter].base = value;
  counts_[counter].since = Clock::now();
}

void Flow::set_rate(Counter counter, uint64_t per_second) {
  set(counter, value(counter));
  counts_[counter].rate = per_second;
}

}  // namespace vcard
