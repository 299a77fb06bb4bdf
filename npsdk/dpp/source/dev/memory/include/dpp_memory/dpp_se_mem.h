// Memories of the search engine, one entry at a time through their register windows. Word 0 of an entry holds its most
// significant bits. All return 0, 0x1205 for an argument out of range, 0x1201 for a null pointer, or the code of the
// access that failed; each holds the operation mutex of its window.
#pragma once

#include <cstdint>

#include "dpp_chip/dpp_dev.h"

// eRAM: 0x80000 lines of 128 bits.
inline constexpr uint32_t DPP_SE_ERAM_LINES = 0x80000;
enum dpp_se_eram_mode : uint32_t {
  DPP_SE_ERAM_128 = 0,
  DPP_SE_ERAM_64 = 1,
  DPP_SE_ERAM_32 = 2,
  DPP_SE_ERAM_2 = 3,
  DPP_SE_ERAM_1 = 4,
};
inline constexpr uint32_t DPP_SE_ERAM_MODE_MAX = DPP_SE_ERAM_1;
inline constexpr uint32_t DPP_SE_ERAM_WORDS = 4;  ///< of the widest entry
/// Entries of one line; 0 for a mode that does not exist.
uint32_t dpp_se_eram_line_entries(uint32_t mode);
/// Words of an entry: 4, 2, or 1 for an entry of up to 32 bits, which stands right-aligned in it.
uint32_t dpp_se_eram_entry_words(uint32_t mode);
/// `addr` counts entries of the mode. `clear` 1: what was read becomes 0 in the same access.
uint32_t dpp_se_smmu0_ind_read(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t clear, uint32_t* data);
/// `count` entries from `addr` on; `data` has dpp_se_eram_entry_words(mode) words for each.
uint32_t dpp_se_smmu0_ind_write(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t count, const uint32_t* data);

// DDR: 2^28 lines of 128 bits; bases of areas count units of 4 KiB.
inline constexpr uint32_t DPP_SE_DDR_LINES = 1u << 28;
inline constexpr uint32_t DPP_SE_DDR_UNIT_LINES = 4096 / 16;
enum dpp_se_ddr_mode : uint32_t { DPP_SE_DDR_128 = 0, DPP_SE_DDR_256 = 1, DPP_SE_DDR_512 = 2 };
inline constexpr uint32_t DPP_SE_DDR_MODE_MAX = DPP_SE_DDR_512;
inline constexpr uint32_t DPP_SE_DDR_WORDS = 16;
/// `addr` counts entries of the mode; an entry has 4 << mode words.
uint32_t dpp_se_smmu1_ind_read(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t* data);
uint32_t dpp_se_smmu1_ind_write(uint32_t dev_id, uint32_t addr, uint32_t mode, const uint32_t* data);

// Ternary memory: 8 blocks of 512 rows of 640 bits. A row has eight parts of 80 bits, each with its valid bit; bit 7 of
// a mask of parts stands for part 0, which holds the row's first bytes.
inline constexpr uint32_t DPP_SE_ETCAM_BLOCKS = 8;
inline constexpr uint32_t DPP_SE_ETCAM_ROWS = 512;
inline constexpr uint32_t DPP_SE_ETCAM_PARTS = 8;
inline constexpr uint32_t DPP_SE_ETCAM_PART_BYTES = 10;
inline constexpr uint32_t DPP_SE_ETCAM_ROW_BYTES = DPP_SE_ETCAM_PARTS * DPP_SE_ETCAM_PART_BYTES;
struct dpp_se_etcam_row {
  uint8_t data[DPP_SE_ETCAM_ROW_BYTES];
  uint8_t mask[DPP_SE_ETCAM_ROW_BYTES];
  uint32_t valid;  ///< a mask of parts
};
uint32_t dpp_se_etcam_row_read(uint32_t dev_id, uint32_t block, uint32_t row, dpp_se_etcam_row* entry);
/// Writes the parts that `parts` names, and all eight valid bits.
uint32_t dpp_se_etcam_row_write(uint32_t dev_id, uint32_t block, uint32_t row, uint32_t parts,
                                const dpp_se_etcam_row* entry);

// Hash and route memory: 32 zblocks of four zcells of 512 lines of 512 bits.
inline constexpr uint32_t DPP_SE_ZBLOCK_NUM = 32;
inline constexpr uint32_t DPP_SE_ZBLOCK_IN_GROUP = 8;
inline constexpr uint32_t DPP_SE_ZCELL_IN_BLOCK = 4;
inline constexpr uint32_t DPP_SE_ZCELL_LINES = 512;
inline constexpr uint32_t DPP_SE_ZCELL_WORDS = 16;
inline constexpr uint32_t DPP_SE_QUARTER_ALL = 0xF;  ///< of a line; bit 3 stands for words 0 to 3
uint32_t dpp_se_zcell_read(uint32_t dev_id, uint32_t zblock, uint32_t zcell, uint32_t line, uint32_t* words);
uint32_t dpp_se_zcell_write(uint32_t dev_id, uint32_t zblock, uint32_t zcell, uint32_t line, uint32_t quarters,
                            const uint32_t* words);

/// Words as the bytes that the chip compares: most significant first.
void dpp_se_words_to_bytes(const uint32_t* words, uint32_t word_num, uint8_t* bytes);
