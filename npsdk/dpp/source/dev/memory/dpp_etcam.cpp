#include "dpp_memory/dpp_etcam.h"

#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

uint32_t dpp_etcam_block_get(uint32_t dev_id, uint32_t block, dpp_etcam_block* info) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, block, 0, DPP_SE_ETCAM_BLOCKS - 1);
  QLIX_COMM_CHECK_POINT(info);
  DPP_REG_READ(dpp_regs::etcam_block_tbl_id, owner, dev_id, 0, block);
  info->valid = owner.block_valid;
  info->key_mode = owner.key_mode;
  info->table = owner.tbl_id;
  DPP_REG_READ(dpp_regs::etcam_block_baddr, first, dev_id, 0, block);
  info->base = first.block_baddr;
  return QLIX_COMM_OK;
}

uint32_t dpp_etcam_place_get(uint32_t dev_id, uint32_t table, uint32_t index, dpp_etcam_place* place) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, table, 0, DPP_ETCAM_TABLE_NUM - 1);
  QLIX_COMM_CHECK_POINT(place);
  for (uint32_t block = 0; block < DPP_SE_ETCAM_BLOCKS; ++block) {
    dpp_etcam_block info = {};
    QLIX_COMM_CALL(dpp_etcam_block_get, dev_id, block, &info);
    const uint32_t in_row = 1u << info.key_mode;
    const uint32_t row = index / in_row;
    if (info.valid != 0 && info.table == table && row >= info.base && row - info.base < DPP_SE_ETCAM_ROWS) {
      const uint32_t parts = DPP_SE_ETCAM_PARTS / in_row;
      *place = {block, row - info.base, info.key_mode, index % in_row * parts, parts};
      return QLIX_COMM_OK;
    }
  }
  return DPP_RC_ETCAM_NO_PLACE;
}

uint32_t dpp_etcam_place_parts(const dpp_etcam_place& place) {
  const uint32_t from_first = 0xFFu >> place.first_part;
  return from_first & ~(0xFFu >> (place.first_part + place.part_num));
}
