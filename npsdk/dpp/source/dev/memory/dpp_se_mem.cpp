#include "dpp_memory/dpp_se_mem.h"

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_access.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_reg/dpp_window.h"
#include "qlix_comm/check.h"

namespace {

constexpr auto ERAM_WINDOW =
    dpp_window_of<dpp_regs::smmu0_cpu_ind_cmd, dpp_regs::smmu0_cpu_ind_status, dpp_regs::smmu0_cpu_ind_data>(
        DPP_DEV_MUTEX_T_SMMU0);
constexpr auto DDR_WINDOW =
    dpp_window_of<dpp_regs::smmu1_cpu_ind_cmd, dpp_regs::smmu1_cpu_ind_status, dpp_regs::smmu1_cpu_ind_data>(
        DPP_DEV_MUTEX_T_SMMU1);
constexpr auto ETCAM_WINDOW =
    dpp_window_of<dpp_regs::etcam_cpu_ind_cmd, dpp_regs::etcam_cpu_ind_status, dpp_regs::etcam_cpu_ind_data>(
        DPP_DEV_MUTEX_T_ETCAM);

constexpr uint32_t ETCAM_ROW_WORDS = DPP_SE_ETCAM_ROW_BYTES / 4;

constexpr uint32_t ERAM_LINE_ENTRIES[] = {1, 2, 4, 64, 128};
constexpr uint32_t ERAM_ENTRY_WORDS[] = {4, 2, 1, 1, 1};

// Bits of an address behind the window of hash and route memory.
constexpr uint32_t QUARTER_SHIFT = 17;
constexpr uint32_t ZBLOCK_SHIFT = 11;
constexpr uint32_t ZCELL_SHIFT = 9;

uint32_t eram_check(uint32_t dev_id, uint32_t addr, uint32_t mode, const uint32_t* data) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, mode, 0, DPP_SE_ERAM_MODE_MAX);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, addr, 0, DPP_SE_ERAM_LINES * ERAM_LINE_ENTRIES[mode] - 1);
  QLIX_COMM_CHECK_POINT(data);
  return QLIX_COMM_OK;
}

uint32_t ddr_check(uint32_t dev_id, uint32_t addr, uint32_t mode, const uint32_t* data) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, mode, 0, DPP_SE_DDR_MODE_MAX);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, addr, 0, (DPP_SE_DDR_LINES >> mode) - 1);
  QLIX_COMM_CHECK_POINT(data);
  return QLIX_COMM_OK;
}

dpp_regs::smmu1_cpu_ind_cmd ddr_command(uint32_t addr, uint32_t mode) {
  dpp_regs::smmu1_cpu_ind_cmd cmd = {};
  cmd.ind_mode = mode;
  cmd.ind_addr = addr;
  return cmd;
}

uint32_t etcam_check(uint32_t dev_id, uint32_t block, uint32_t row) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, block, 0, DPP_SE_ETCAM_BLOCKS - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, row, 0, DPP_SE_ETCAM_ROWS - 1);
  return QLIX_COMM_OK;
}

uint32_t zcell_check(uint32_t dev_id, uint32_t zblock, uint32_t zcell, uint32_t line, const uint32_t* words) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, zblock, 0, DPP_SE_ZBLOCK_NUM - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, zcell, 0, DPP_SE_ZCELL_IN_BLOCK - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, line, 0, DPP_SE_ZCELL_LINES - 1);
  QLIX_COMM_CHECK_POINT(words);
  return QLIX_COMM_OK;
}

uint32_t etcam_half_read(uint32_t dev_id, dpp_regs::etcam_cpu_ind_cmd cmd, bool data, uint8_t* bytes) {
  uint32_t words[ETCAM_ROW_WORDS] = {};
  cmd.data_or_mask = data ? 1 : 0;
  QLIX_COMM_CALL(dpp_window_read, dev_id, ETCAM_WINDOW, 0, cmd, words);
  dpp_se_words_to_bytes(words, ETCAM_ROW_WORDS, bytes);
  return QLIX_COMM_OK;
}

uint32_t etcam_half_write(uint32_t dev_id, dpp_regs::etcam_cpu_ind_cmd cmd, bool data, const uint8_t* bytes) {
  uint32_t words[ETCAM_ROW_WORDS] = {};
  for (uint32_t i = 0; i < DPP_SE_ETCAM_ROW_BYTES; ++i) {
    words[i / 4] |= uint32_t{bytes[i]} << (24 - 8 * (i % 4));
  }
  cmd.data_or_mask = data ? 1 : 0;
  return QLIX_COMM_CALLED(dpp_window_write, dev_id, ETCAM_WINDOW, 0, cmd, words);
}

}  // namespace

uint32_t dpp_se_eram_line_entries(uint32_t mode) {
  return mode <= DPP_SE_ERAM_MODE_MAX ? ERAM_LINE_ENTRIES[mode] : 0;
}

uint32_t dpp_se_eram_entry_words(uint32_t mode) {
  return mode <= DPP_SE_ERAM_MODE_MAX ? ERAM_ENTRY_WORDS[mode] : 0;
}

uint32_t dpp_se_smmu0_ind_read(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t clear, uint32_t* data) {
  QLIX_COMM_PASS(eram_check(dev_id, addr, mode, data));
  dpp_regs::smmu0_cpu_ind_cmd cmd = {};
  cmd.ind_rd_clr = clear != 0 ? 1 : 0;
  cmd.ind_mode = mode;
  cmd.ind_addr = addr;
  return QLIX_COMM_CALLED(dpp_window_read, dev_id, ERAM_WINDOW, 0, cmd, {data, ERAM_ENTRY_WORDS[mode]});
}

uint32_t dpp_se_smmu0_ind_write(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t count, const uint32_t* data) {
  QLIX_COMM_PASS(eram_check(dev_id, addr, mode, data));
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, count, 0, DPP_SE_ERAM_LINES * ERAM_LINE_ENTRIES[mode] - addr);
  for (uint32_t i = 0; i < count; ++i) {
    dpp_regs::smmu0_cpu_ind_cmd cmd = {};
    cmd.ind_mode = mode;
    cmd.ind_addr = addr + i;
    QLIX_COMM_CALL(dpp_window_write, dev_id, ERAM_WINDOW, 0, cmd,
                   {data + size_t{i} * ERAM_ENTRY_WORDS[mode], ERAM_ENTRY_WORDS[mode]});
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_se_smmu1_ind_read(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t* data) {
  QLIX_COMM_PASS(ddr_check(dev_id, addr, mode, data));
  return QLIX_COMM_CALLED(dpp_window_read, dev_id, DDR_WINDOW, 0, ddr_command(addr, mode), {data, size_t{4} << mode});
}

uint32_t dpp_se_smmu1_ind_write(uint32_t dev_id, uint32_t addr, uint32_t mode, const uint32_t* data) {
  QLIX_COMM_PASS(ddr_check(dev_id, addr, mode, data));
  return QLIX_COMM_CALLED(dpp_window_write, dev_id, DDR_WINDOW, 0, ddr_command(addr, mode), {data, size_t{4} << mode});
}

uint32_t dpp_se_etcam_row_read(uint32_t dev_id, uint32_t block, uint32_t row, dpp_se_etcam_row* entry) {
  QLIX_COMM_CHECK_POINT(entry);
  QLIX_COMM_PASS(etcam_check(dev_id, block, row));
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_ETCAM);
  dpp_regs::etcam_cpu_ind_cmd cmd = {};
  cmd.block_sel = block;
  cmd.ind_addr = row;
  QLIX_COMM_CALL(etcam_half_read, dev_id, cmd, true, entry->data);
  QLIX_COMM_CALL(etcam_half_read, dev_id, cmd, false, entry->mask);
  DPP_REG_READ(dpp_regs::etcam_cpu_ind_vbit, parts, dev_id, 0, 0);
  entry->valid = parts.rd_vbit;
  return QLIX_COMM_OK;
}

// The valid bits go with the mask, the last of the two, so that no half-written entry can match.
uint32_t dpp_se_etcam_row_write(uint32_t dev_id, uint32_t block, uint32_t row, uint32_t parts,
                                const dpp_se_etcam_row* entry) {
  QLIX_COMM_CHECK_POINT(entry);
  QLIX_COMM_PASS(etcam_check(dev_id, block, row));
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, parts, 0, (1u << DPP_SE_ETCAM_PARTS) - 1);
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_ETCAM);
  dpp_regs::etcam_cpu_ind_cmd cmd = {};
  cmd.block_sel = block;
  cmd.ind_addr = row;
  cmd.wr_mode = parts;
  QLIX_COMM_CALL(etcam_half_write, dev_id, cmd, true, entry->data);
  cmd.vben = 1;
  cmd.vbit = entry->valid;
  return QLIX_COMM_CALLED(etcam_half_write, dev_id, cmd, false, entry->mask);
}

uint32_t dpp_se_zcell_read(uint32_t dev_id, uint32_t zblock, uint32_t zcell, uint32_t line, uint32_t* words) {
  QLIX_COMM_PASS(zcell_check(dev_id, zblock, zcell, line, words));
  const uint32_t addr = zblock << ZBLOCK_SHIFT | zcell << ZCELL_SHIFT | line;
  return QLIX_COMM_CALLED(dpp_se_alg_read, dev_id, addr, words);
}

uint32_t dpp_se_zcell_write(uint32_t dev_id, uint32_t zblock, uint32_t zcell, uint32_t line, uint32_t quarters,
                            const uint32_t* words) {
  QLIX_COMM_PASS(zcell_check(dev_id, zblock, zcell, line, words));
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, quarters, 0, DPP_SE_QUARTER_ALL);
  const uint32_t addr = quarters << QUARTER_SHIFT | zblock << ZBLOCK_SHIFT | zcell << ZCELL_SHIFT | line;
  return QLIX_COMM_CALLED(dpp_se_alg_write, dev_id, addr, words);
}

void dpp_se_words_to_bytes(const uint32_t* words, uint32_t word_num, uint8_t* bytes) {
  for (uint32_t i = 0; i < 4 * word_num; ++i) {
    bytes[i] = static_cast<uint8_t>(words[i / 4] >> (24 - 8 * (i % 4)));
  }
}
