// Blocks, tables and entries of ternary memory on the screen.
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_etcam.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"
#include "qlix_comm/plural.h"
#include "se_print.h"

namespace {

constexpr uint32_t ROW_BITS = 8 * DPP_SE_ETCAM_ROW_BYTES;

void parts_print(const dpp_se_etcam_row& row, uint32_t first_part, uint32_t part_num) {
  const uint32_t first = first_part * DPP_SE_ETCAM_PART_BYTES;
  se_bytes_print("  data", row.data + first, part_num * DPP_SE_ETCAM_PART_BYTES);
  se_bytes_print("  mask", row.mask + first, part_num * DPP_SE_ETCAM_PART_BYTES);
}

}  // namespace

uint32_t dpp_etcam_table_blocks_prt(uint32_t dev_id, uint32_t table) {
  uint32_t num = 0;
  QLIX_COMM_PRINT("etcam table %u:\n", table);
  for (uint32_t block = 0; block < DPP_SE_ETCAM_BLOCKS; ++block) {
    dpp_etcam_block info = {};
    QLIX_COMM_CALL(dpp_etcam_block_get, dev_id, block, &info);
    if (info.valid != 0 && info.table == table) {
      QLIX_COMM_PRINT("  block %u: entries of %u bits, first row %u\n", block, ROW_BITS >> info.key_mode, info.base);
      ++num;
    }
  }
  QLIX_COMM_PRINT("  %u block%s\n", num, qlix_comm_plural(num));
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_etcam_entry_prt(uint32_t dev_id, uint32_t block, uint32_t row) {
  dpp_se_etcam_row entry = {};
  QLIX_COMM_CALL(dpp_se_etcam_row_read, dev_id, block, row, &entry);
  QLIX_COMM_PRINT("block %u, row %u, valid parts 0x%02x\n", block, row, entry.valid);
  parts_print(entry, 0, DPP_SE_ETCAM_PARTS);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_etcam_tbl_entry_prt(uint32_t dev_id, uint32_t table, uint32_t index) {
  dpp_etcam_place place = {};
  const uint32_t code = dpp_etcam_place_get(dev_id, table, index, &place);
  if (code == DPP_RC_ETCAM_NO_PLACE) {
    QLIX_COMM_PRINT("etcam table %u has no entry %u\n", table, index);
    return QLIX_COMM_OK;
  }
  QLIX_COMM_CHECK_DEV_RC(dev_id, code, "dpp_etcam_place_get");
  dpp_se_etcam_row row = {};
  QLIX_COMM_CALL(dpp_se_etcam_row_read, dev_id, place.block, place.row, &row);
  const uint32_t parts = dpp_etcam_place_parts(place);
  QLIX_COMM_PRINT("etcam table %u, entry %u: block %u, row %u, first part %u, %u bits, %s\n", table, index, place.block,
                  place.row, place.first_part, ROW_BITS >> place.key_mode,
                  (row.valid & parts) == parts ? "valid" : "not valid");
  parts_print(row, place.first_part, place.part_num);
  return QLIX_COMM_OK;
}
