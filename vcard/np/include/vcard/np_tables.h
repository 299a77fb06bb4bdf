// The table memories of the network processor. The register windows look into them word by word, the queue engine
// writes and dumps them by DMA: both see the same tables.
//
// Word 0 of a line holds its most significant bits, and narrow entries count their columns from that end: 64-bit entry
// 0 is words 0 and 1 of line 0, one-bit entry 0 is bit 127.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <unordered_map>

namespace vcard {

inline constexpr uint32_t eram_lines = 0x80000;
inline constexpr uint32_t ddr_lines = 1u << 28;
inline constexpr uint32_t ddr_lines_in_base_unit = 4096 / 16;
inline constexpr uint32_t zcam_places = 1u << 16;
inline constexpr uint32_t etcam_blocks = 8;
inline constexpr uint32_t etcam_rows = 512;
inline constexpr uint32_t etcam_row_bytes = 80;  // eight parts of ten bytes
inline constexpr uint32_t etcam_part_bytes = 10;

/// 128 bits of eRAM or DDR.
using TableLine = std::array<uint32_t, 4>;
/// 512 bits of hash and route memory, or a register of a zblock.
using ZcamLine = std::array<uint32_t, 16>;

struct EtcamRow {
  std::array<uint8_t, etcam_row_bytes> data = {};  // byte 0 the most significant
  std::array<uint8_t, etcam_row_bytes> mask = {};
  uint8_t valid = 0;  // bit 7 for part 0
};

class NpTables {
 public:
  // Lines are made on first use and read 0 before; an index beyond the memory wraps, as the address bits do.
  TableLine& eram(uint32_t line) {
    return eram_[line % eram_lines];
  }
  TableLine& ddr(uint32_t line) {
    return ddr_[line % ddr_lines];
  }
  /// Bits 15-14 zgroup, 13-11 zblock, 10-9 zcell, 8-0 line.
  ZcamLine& zcam(uint32_t place) {
    return zcam_[place % zcam_places];
  }
  /// Bits 15-14 zgroup, 13-11 zblock, 10-0 register.
  ZcamLine& zblock_register(uint32_t place);
  EtcamRow& etcam(uint32_t block, uint32_t row) {
    return etcam_[block % etcam_blocks * etcam_rows + row % etcam_rows];
  }

  /// One eRAM entry of 128, 64, 32, 2 or 1 bits. Entries of up to 32 bits stand in words[0], right-aligned.
  void eram_read(uint32_t bits, uint32_t index, std::span<uint32_t, 4> words);
  void eram_write(uint32_t bits, uint32_t index, std::span<const uint32_t, 4> words);

 private:
  std::unordered_map<uint32_t, TableLine> eram_;
  std::unordered_map<uint32_t, TableLine> ddr_;
  std::unordered_map<uint32_t, ZcamLine> zcam_;
  std::unordered_map<uint32_t, ZcamLine> zblock_registers_;
  std::unordered_map<uint32_t, EtcamRow> etcam_;
};

}  // namespace vcard
