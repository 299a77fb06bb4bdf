// Ternary tables: which rows of which blocks belong to a table, and its entries. A table's blocks follow each other by
// their base rows; a row of 640 bits holds one entry of 640 bits, two of 320, four of 160 or eight of 80.
#pragma once

#include <cstdint>

#include "dpp_memory/dpp_se_mem.h"

inline constexpr uint32_t DPP_ETCAM_TABLE_NUM = 8;

struct dpp_etcam_block {
  uint32_t valid;
  uint32_t key_mode;  ///< 0: 640 bits, 1: 320, 2: 160, 3: 80
  uint32_t table;
  uint32_t base;  ///< row of the table that the block's first row is
};
/// What the block belongs to.
uint32_t dpp_etcam_block_get(uint32_t dev_id, uint32_t block, dpp_etcam_block* info);

/// Where an entry stands.
struct dpp_etcam_place {
  uint32_t block;
  uint32_t row;
  uint32_t key_mode;
  uint32_t first_part;
  uint32_t part_num;
};
/// DPP_RC_ETCAM_NO_PLACE when no block of the table holds entry `index`.
uint32_t dpp_etcam_place_get(uint32_t dev_id, uint32_t table, uint32_t index, dpp_etcam_place* place);
inline constexpr uint32_t DPP_RC_ETCAM_NO_PLACE = 0x60E;

/// The parts of an entry in its row, as a mask of parts.
uint32_t dpp_etcam_place_parts(const dpp_etcam_place& place);
