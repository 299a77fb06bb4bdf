// Tables of the network processor, as the chip has them: the memories, the execution of the command words that come by
// DMA, and the searches that run on what was written. It knows nothing of who writes.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vcard {

/// Status byte with which the chip completes a block. It stops at the first command that it cannot execute.
enum class NpStatus : uint8_t {
  success = 0xFF,
  not_valid = 0x01,     // valid bit clear
  unknown_mode = 0x02,  // no block of the chip has this type_mode
  truncated = 0x03,     // the block ends inside a command or its data
  unsupported = 0x04,   // a read, or a field value that the block does not have
  empty = 0x05,
};

struct NpCounters {
  uint64_t blocks = 0;
  uint64_t commands = 0;
  std::map<NpStatus, uint64_t> errors;
};

/// How a hash engine of the chip is set up to look a key up.
struct NpHashSetup {
  struct Zcell {
    unsigned zblock;
    unsigned cell;
  };
  std::vector<Zcell> zcells;                // in search order
  std::map<unsigned, unsigned> polynomial;  // of each zblock
  unsigned engine = 0;
  unsigned table = 0;
  std::optional<uint32_t> ddr_base;  // spill area, in units of 4 KiB
  uint32_t ddr_items = 0;
};

class NpTables {
 public:
  using Bytes = std::vector<uint8_t>;
  using Item = std::array<uint8_t, 64>;

  /// Executes the commands of one block.
  NpStatus execute(std::span<const uint8_t> block);

  /// The result stored with a key, `result_length` bytes of it.
  std::optional<Bytes> hash_lookup(const NpHashSetup& setup, std::span<const uint8_t> key, size_t result_length) const;
  /// The result of the longest route that covers an address in the area at `base` (units of 4 KiB).
  std::optional<uint32_t> lpm_lookup(uint32_t base, std::span<const uint8_t> address) const;

  /// A row of the eRAM; what was never written is zero.
  std::array<uint8_t, 16> eram_row(uint32_t row) const;
  /// The item of a zcell, or its overflow register.
  Item zcell_item(unsigned zblock, unsigned cell, unsigned index) const;
  Item zreg_item(unsigned zblock, unsigned cell) const;
  /// A row of DDR behind a base.
  std::array<uint8_t, 16> ddr_row(uint32_t base, uint32_t row) const;
  /// Data (or mask) of a ternary entry.
  std::array<uint8_t, 80> etcam_entry(unsigned block, unsigned address, bool mask) const;
  std::optional<uint64_t> multicast_hash() const {
    return multicast_hash_;
  }
  const NpCounters& counters() const {
    return counters_;
  }

 private:
  using Row = std::array<uint8_t, 16>;
  class Reader;
  NpStatus execute_eram(const Row& command, Reader& rest);
  NpStatus execute_ddr(const Row& command, Reader& rest);
  NpStatus execute_zcam(const Row& command, Reader& rest);
  NpStatus execute_etcam(const Row& command, Reader& rest);
  NpStatus execute_multicast_hash(const Row& command);

  std::unordered_map<uint32_t, Row> eram_;
  std::unordered_map<uint64_t, Row> ddr_;    // by absolute row
  std::unordered_map<uint32_t, Item> zcam_;  // by register flag, zblock, cell, item
  std::map<std::array<unsigned, 3>, std::array<uint8_t, 80>> etcam_;
  std::optional<uint64_t> multicast_hash_;
  NpCounters counters_;
};

}  // namespace vcard
