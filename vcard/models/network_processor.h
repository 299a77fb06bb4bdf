// The network processor as the card's address space shows it: a sparse register file whose areas react to reads and
// writes, the windows into its table memories, packet capture and the micro-code debugger.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>

#include "flow.h"
#include "vcard/card.h"
#include "vcard/np_tables.h"

namespace vcard {

inline constexpr uint64_t network_processor_base = 0x6218000000;
inline constexpr uint64_t network_processor_size = 0x2001000;  // up to the last doorbell

// The packet-processing clusters' registers.
inline constexpr uint32_t cluster_base = 0x88000;
inline constexpr uint32_t cluster_stride = 0x8000;
inline constexpr uint32_t cluster_count = 6;

/// A queue's doorbell: address high, address low, length.
inline constexpr uint32_t doorbells = 0x2000000;
inline constexpr uint32_t doorbell_stride = 0x20;
inline constexpr uint32_t doorbell_length = 0x8;

class NetworkProcessor : public CardMemoryBlock {
 public:
  explicit NetworkProcessor(const CardSection& section);

  uint32_t read(uint64_t offset) override;
  void write(uint64_t offset, uint32_t value) override;

  // For the models behind the registers: words as they stand, without what the bus side does to them.
  uint32_t word(uint32_t offset) const;
  void set_word(uint32_t offset, uint32_t value);
  NpTables& tables() {
    return tables_;
  }

  /// Called after the length word of a queue's doorbell was written.
  std::function<void(uint32_t queue)> doorbell;

 private:
  using Clock = std::chrono::steady_clock;

  void load_ports(const CardSection& ports);
  void load_words(const CardSection& section);
  void load_tables(const CardSection& section);
  void fill_reset_values();

  uint32_t read_counter(uint32_t offset);
  uint32_t read_port(uint32_t offset) const;

  // Windows: true when the offset is a command register.
  bool run_window(uint32_t offset, uint32_t command);
  void run_eram(uint32_t command);
  void run_ddr(uint32_t command);
  void run_zcam(uint32_t command);
  void run_etcam(uint32_t command);
  void run_statistics(uint32_t command);
  void run_memory(std::map<uint64_t, uint32_t>& memory, uint64_t place, uint32_t data, uint32_t words, bool reads);
  uint32_t* statistics_word(uint32_t pair, uint32_t half);

  bool run_capture(uint32_t offset, uint32_t value);
  bool run_debugger(uint32_t offset, uint32_t value);
  void stop_cluster(uint32_t cluster, uint32_t pc);

  std::unordered_map<uint32_t, uint32_t> words_;
  std::unordered_map<uint32_t, uint64_t> counted_;  // what each counter had gained when it was last read
  Clock::time_point start_ = Clock::now();
  uint32_t counter_rate_ = 0;
  std::map<uint32_t, Flow> ports_;
  NpTables tables_;
  std::map<uint64_t, uint32_t> policer_memory_;
  std::map<uint64_t, uint32_t> cluster_memory_;
  std::map<uint64_t, uint32_t> traffic_manager_memory_;
};

}  // namespace vcard
