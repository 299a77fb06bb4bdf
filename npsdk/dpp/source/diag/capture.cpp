// What the capture of a block holds: its filters, then the packet as it went by.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_no.h"
#include "dpp_reg/dpp_reg_print.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t data_words = 64;
constexpr uint32_t line_bytes = 16;

/// The registers of one block's capture.
struct capture_block {
  uint32_t settings[7];
  uint32_t status;
  uint32_t data;
};

constexpr capture_block capture_blocks[] = {
    {{DPP_REG_PKTRX_CAP_MODE, DPP_REG_PKTRX_CAP_EN, DPP_REG_PKTRX_CAP_FILTER_EN, DPP_REG_PKTRX_CAP_FILTER_SPORT,
      DPP_REG_PKTRX_CAP_FILTER_MAC_OFFSET, DPP_REG_PKTRX_CAP_FILTER_DMAC, DPP_REG_PKTRX_CAP_FILTER_SMAC},
     DPP_REG_PKTRX_CAP_STATUS,
     DPP_REG_PKTRX_CAP_DATA},
    {{DPP_REG_PBU_CAP_MODE, DPP_REG_PBU_CAP_EN, DPP_REG_PBU_CAP_FILTER_EN, DPP_REG_PBU_CAP_FILTER_SPORT,
      DPP_REG_PBU_CAP_FILTER_MAC_OFFSET, DPP_REG_PBU_CAP_FILTER_DMAC, DPP_REG_PBU_CAP_FILTER_SMAC},
     DPP_REG_PBU_CAP_STATUS,
     DPP_REG_PBU_CAP_DATA},
    {{DPP_REG_ODMA_CAP_MODE, DPP_REG_ODMA_CAP_EN, DPP_REG_ODMA_CAP_FILTER_EN, DPP_REG_ODMA_CAP_FILTER_DPORT,
      DPP_REG_ODMA_CAP_FILTER_MAC_OFFSET, DPP_REG_ODMA_CAP_FILTER_DMAC, DPP_REG_ODMA_CAP_FILTER_SMAC},
     DPP_REG_ODMA_CAP_STATUS,
     DPP_REG_ODMA_CAP_DATA},
};

// Bytes in the order of the wire; the first stands highest in its word.
void packet_print(const uint32_t* words, uint32_t length) {
  for (uint32_t first = 0; first < length; first += line_bytes) {
    char line[3 * line_bytes + 1];
    uint32_t used = 0;
    for (uint32_t i = first; i < length && i < first + line_bytes; ++i) {
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
  const capture_block& block = capture_blocks[block_no];
  for (const uint32_t reg_no : block.settings) {
    QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_fields_print(dev_id, reg_no, 0, 0), "dpp_reg_fields_print");
  }
  // The status registers of all blocks have the same fields.
  uint32_t status[3] = {};
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read(dev_id, block.status, 0, 0, status), "dpp_reg_read");
  const uint32_t length = status[DPP_FIELD_PKTRX_CAP_STATUS_CAP_LEN];
  QLIX_COMM_PRINT("cap_full: %u, cap_num: %u, cap_len: %u\n", status[DPP_FIELD_PKTRX_CAP_STATUS_CAP_FULL],
                  status[DPP_FIELD_PKTRX_CAP_STATUS_CAP_NUM], length);
  uint32_t words[data_words] = {};
  const uint32_t shown = length < 4 * data_words ? length : 4 * data_words;
  for (uint32_t i = 0; 4 * i < shown; ++i) {
    QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read32(dev_id, block.data, 0, i, &words[i]), "dpp_reg_read32");
  }
  packet_print(words, shown);
  return QLIX_COMM_OK;
}
