// Table commands that come to the network processor by DMA: a block is a row of 128-bit command words, each followed by
// the data that it asks for.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "vcard/np_tables.h"

namespace vcard {

/// Status byte with which the chip completes a block. It stops at the first command that it cannot execute.
enum class NpStatus : uint8_t {
  success = 0xff,
  not_valid = 0x01,     // valid bit clear
  unknown_mode = 0x02,  // no block of the chip has this type_mode
  truncated = 0x03,     // the block ends inside a command or its data
  unsupported = 0x04,   // a read, or a field value that the block does not have
  empty = 0x05,
  bus_error = 0x06,  // the memory behind the bus address cannot be read
};

struct NpCounters {
  uint64_t blocks = 0;
  uint64_t commands = 0;
  std::map<NpStatus, uint64_t> errors;
};

class NpCommands {
 public:
  /// The tables must outlive this.
  explicit NpCommands(NpTables& tables) : tables_(tables) {}

  /// Executes the commands of one block.
  NpStatus execute(std::span<const uint8_t> block);
  /// Executes a block of reading commands; what they read is appended to `answer`, most significant byte first.
  NpStatus dump(std::span<const uint8_t> block, std::vector<uint8_t>& answer);
  /// Counts a block that never arrived.
  NpStatus refuse(NpStatus status);

  const NpCounters& counters() const {
    return counters_;
  }
  /// What the last multicast hash command set.
  std::optional<uint64_t> multicast_hash() const {
    return multicast_hash_;
  }

 private:
  class Reader;
  NpStatus run(std::span<const uint8_t> block, const std::function<NpStatus(const TableLine&, Reader&)>& one);
  NpStatus execute_one(const TableLine& command, Reader& rest);
  NpStatus dump_one(const TableLine& command, std::vector<uint8_t>& answer);
  NpStatus execute_eram(const TableLine& command, Reader& rest);
  NpStatus execute_ddr(const TableLine& command, Reader& rest);
  NpStatus execute_zcam(const TableLine& command, Reader& rest);
  NpStatus execute_etcam(const TableLine& command, Reader& rest);

  NpTables& tables_;
  NpCounters counters_;
  std::optional<uint64_t> multicast_hash_;
};

}  // namespace vcard
