// What the capture of a block holds: the packet as it went by.
#include <algorithm>

#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t DATA_WORDS = 64;
constexpr uint32_t LINE_BYTES = 16;

// By the number of the block.
constexpr uint32_t DATA_REGISTERS[] = {dpp_regs::pktrx_cap_data::NUMBER, dpp_regs::pbu_cap_data::NUMBER,
                                       dpp_regs::odma_cap_data::NUMBER};

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

uint32_t dpp_capture_prt(uint32_t dev_id, uint32_t block, uint32_t full, uint32_t num, uint32_t length) {
  QLIX_COMM_PRINT("cap_full: %u, cap_num: %u, cap_len: %u\n", full, num, length);
  uint32_t words[DATA_WORDS] = {};
  const uint32_t shown = std::min(length, 4 * DATA_WORDS);
  for (uint32_t i = 0; 4 * i < shown; ++i) {
    QLIX_COMM_CALL(dpp_reg_read32, dev_id, DATA_REGISTERS[block], 0, i, &words[i]);
  }
  packet_print(words, shown);
  return QLIX_COMM_OK;
}
