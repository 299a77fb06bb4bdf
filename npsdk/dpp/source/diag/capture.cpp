// What the capture of a block holds: its filters, then the packet as it went by.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_print.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t DATA_WORDS = 64;
constexpr uint32_t LINE_BYTES = 16;

struct capture_status {
  uint32_t full;
  uint32_t num;
  uint32_t length;  // bytes
};

/// The status registers of all blocks have the same fields.
template <typename Register>
uint32_t status_get(uint32_t dev_id, capture_status& status) {
  DPP_REG_READ(Register, fields, dev_id, 0, 0);
  status = {fields.cap_full, fields.cap_num, fields.cap_len};
  return QLIX_COMM_OK;
}

/// The registers of one block's capture.
struct capture_block {
  uint32_t settings[7];
  uint32_t (*status_get)(uint32_t dev_id, capture_status& status);
  uint32_t data;
};

constexpr capture_block CAPTURE_BLOCKS[] = {
    {{dpp_regs::pktrx_cap_mode::NUMBER, dpp_regs::pktrx_cap_en::NUMBER, dpp_regs::pktrx_cap_filter_en::NUMBER,
      dpp_regs::pktrx_cap_filter_sport::NUMBER, dpp_regs::pktrx_cap_filter_mac_offset::NUMBER,
      dpp_regs::pktrx_cap_filter_dmac::NUMBER, dpp_regs::pktrx_cap_filter_smac::NUMBER},
     status_get<dpp_regs::pktrx_cap_status>,
     dpp_regs::pktrx_cap_data::NUMBER},
    {{dpp_regs::pbu_cap_mode::NUMBER, dpp_regs::pbu_cap_en::NUMBER, dpp_regs::pbu_cap_filter_en::NUMBER,
      dpp_regs::pbu_cap_filter_sport::NUMBER, dpp_regs::pbu_cap_filter_mac_offset::NUMBER,
      dpp_regs::pbu_cap_filter_dmac::NUMBER, dpp_regs::pbu_cap_filter_smac::NUMBER},
     status_get<dpp_regs::pbu_cap_status>,
     dpp_regs::pbu_cap_data::NUMBER},
    {{dpp_regs::odma_cap_mode::NUMBER, dpp_regs::odma_cap_en::NUMBER, dpp_regs::odma_cap_filter_en::NUMBER,
      dpp_regs::odma_cap_filter_dport::NUMBER, dpp_regs::odma_cap_filter_mac_offset::NUMBER,
      dpp_regs::odma_cap_filter_dmac::NUMBER, dpp_regs::odma_cap_filter_smac::NUMBER},
     status_get<dpp_regs::odma_cap_status>,
     dpp_regs::odma_cap_data::NUMBER},
};

// Bytes in the order of the wire; the first stands highest in its word.
void packet_print(const uint32_t* words, uint32_t length) {
  for (uint32_t first = 0; first < length; first += LINE_BYTES) {
    char line[3 * LINE_BYTES + 1];
    uint32_t used = 0;
    for (uint32_t i = first; i < length && i < first + LINE_BYTES; ++i) {
      const uint32_t byte = words[i / 4] >> (24 - 8 * (i % 4)) & 0xFF;
      line[used++] = ' ';
      line[used++] = "0123456789abcdef"[byte >> 4];
      line[used++] = "0123456789abcdef"[byte & 0xF];
    }
    line[used] = '\0';
    QLIX_COMM_PRINT("0x%04x:%s\n", first, line);
  }
}

}  // namespace

uint32_t dpp_capture_prt(uint32_t dev_id, uint32_t block_no) {
  const capture_block& block = CAPTURE_BLOCKS[block_no];
  for (const uint32_t reg_no : block.settings) {
    QLIX_COMM_CALL(dpp_reg_fields_print, dev_id, reg_no, 0, 0);
  }
  capture_status status = {};
  QLIX_COMM_CHECK_DEV_RC(dev_id, block.status_get(dev_id, status), "dpp_reg_read");
  const uint32_t length = status.length;
  QLIX_COMM_PRINT("cap_full: %u, cap_num: %u, cap_len: %u\n", status.full, status.num, length);
  uint32_t words[DATA_WORDS] = {};
  const uint32_t shown = length < 4 * DATA_WORDS ? length : 4 * DATA_WORDS;
  for (uint32_t i = 0; 4 * i < shown; ++i) {
    QLIX_COMM_CALL(dpp_reg_read32, dev_id, block.data, 0, i, &words[i]);
  }
  packet_print(words, shown);
  return QLIX_COMM_OK;
}
