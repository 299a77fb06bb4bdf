// Reading tables through a queue. A dump item carries one table command in its reading form, and the chip overwrites
// the item's buffer with what it read, most significant byte first, before it acknowledges: eRAM cpu_rd 1 and cpu_wr 0,
// ternary memory rd_wr 1; DDR and zcell commands read because the item is a dump item.
//
// A chip that takes these commands says so in register dtb_dump_cmd_form. From any other one nothing is read: one line,
// DPP_RC_DTB_DUMP_FORM, and no item is taken or posted.
//
// Words are handed out in host order, the most significant first. 0x1205 for a place out of range, 0x1201 for a null
// pointer, else the codes of the dump side of a queue.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_DTB_ERAM_ROW_NUM = 0x80000;
inline constexpr uint32_t DPP_DTB_DDR_BADDR_MAX = 0xFFFFF;       ///< in units of 4 KiB
inline constexpr uint32_t DPP_DTB_DDR_BASE_ROWS = 256;           ///< rows in such a unit
inline constexpr uint32_t DPP_DTB_DDR_ROW_MAX = (1u << 30) - 1;  ///< of 128 bits, from the base
inline constexpr uint32_t DPP_DTB_ZCAM_PLACE_NUM = 0x10000;
inline constexpr uint32_t DPP_DTB_ETCAM_BLOCK_NUM = 8;
inline constexpr uint32_t DPP_DTB_ETCAM_ROW_NUM = 512;
inline constexpr uint32_t DPP_DTB_ETCAM_WORDS = 20;

/// One row of eRAM: 4 words.
uint32_t dpp_dtb_smmu0_row_dump(uint32_t dev_id, uint32_t queue_id, uint32_t row, uint32_t* words);
/// 1, 2 or 4 rows of DDR (rw_len 0, 1, 2), 4 words each, from `row` on behind `baddr`.
uint32_t dpp_dtb_smmu1_row_dump(uint32_t dev_id, uint32_t queue_id, uint32_t rw_len, uint32_t baddr, uint32_t row,
                                uint32_t* words);
/// An item of a zcell (ram_reg_flag 1) or a register of a zblock (0): 16 words. Bits of `place`: 15-14 zgroup, 13-11
/// zblock, 10-9 zcell, 8-0 item or register.
uint32_t dpp_dtb_zcam_item_dump(uint32_t dev_id, uint32_t queue_id, uint32_t ram_reg_flag, uint32_t place,
                                uint32_t* words);
/// The data (data_or_mask 0) or the mask (1) of a row of ternary memory, 20 words, and the valid bits of its parts.
uint32_t dpp_dtb_etcam_row_dump(uint32_t dev_id, uint32_t queue_id, uint32_t block, uint32_t row, uint32_t data_or_mask,
                                uint32_t* words, uint32_t* vbit);
