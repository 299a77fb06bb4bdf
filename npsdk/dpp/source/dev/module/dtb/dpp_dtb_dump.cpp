#include "dpp_dtb/dpp_dtb_dump.h"

#include <endian.h>

#include <algorithm>
#include <cstring>

#include "dpp_dtb/dpp_dtb.h"
#include "dpp_dtb/dpp_dtb_table.h"
#include "dpp_dtb_internal.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t ROW_WORDS = 4;
constexpr uint32_t ITEM_WORDS = 16;
constexpr uint32_t RW_LEN_MAX = 2;
// Behind the data of a ternary row comes one line of 128 bits, its lowest byte the valid bits.
constexpr uint32_t ETCAM_ANSWER_WORDS = DPP_DTB_ETCAM_WORDS + ROW_WORDS;
constexpr uint32_t VBIT_MASK = 0xFF;
constexpr uint32_t CMD_FORM = 0x4B584431;  // "KXD1": table commands in their reading form

/// Whether the chip takes dump commands of the form that is sent here. Asked each time: a device may have been
/// replaced.
uint32_t cmd_form_check(uint32_t dev_id) {
  DPP_REG_READ(dpp_regs::dtb_dump_cmd_form, stated, dev_id, 0, 0);
  if (stated.form == CMD_FORM) {
    return QLIX_COMM_OK;
  }
  QLIX_COMM_PRINT(
      "device %u states no dump command form that this build knows (0x%08x): tables cannot be read through a queue, "
      "nothing was sent.\n",
      dev_id, stated.form);
  return DPP_RC_DTB_DUMP_FORM;
}

/// Sends the command of a form and takes what the chip has read: `word_num` words.
template <typename Form>
uint32_t answer_get(uint32_t dev_id, uint32_t queue_id, const Form& form, uint32_t word_num, uint32_t* words) {
  uint8_t cmd[DPP_DTB_CMD_BYTES];
  dpp_dtb_table_cmd_pack(form, cmd);
  QLIX_COMM_PASS(cmd_form_check(dev_id));
  uint32_t request[DPP_DTB_CMD_BYTES / 4];
  std::memcpy(request, cmd, sizeof(request));
  uint32_t item = 0;
  QLIX_COMM_CALL(dpp_dtb_tab_up_free_item_get, dev_id, queue_id, &item);
  QLIX_COMM_CALL(dpp_dtb_tab_up_info_set, dev_id, queue_id, item, 0, sizeof(request), request);
  QLIX_COMM_CALL(dpp_dtb_tab_up_success_status_check, dev_id, queue_id, item);
  QLIX_COMM_CALL(dpp_dtb_tab_up_data_get, dev_id, queue_id, item, word_num * 4, words);
  for (uint32_t i = 0; i < word_num; ++i) {
    words[i] = be32toh(words[i]);
  }
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t dpp_dtb_smmu0_row_dump(uint32_t dev_id, uint32_t queue_id, uint32_t row, uint32_t* words) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_INDEX_UPPER(row, DPP_DTB_ERAM_ROW_NUM - 1);
  QLIX_COMM_CHECK_POINT(words);
  const dpp_formats::dtb_eram_128 form = {1, DPP_DTB_MODE_ERAM, DPP_ERAM_DATA_128, 0, 1, 0, row};
  return answer_get(dev_id, queue_id, form, ROW_WORDS, words);
}

uint32_t dpp_dtb_smmu1_row_dump(uint32_t dev_id, uint32_t queue_id, uint32_t rw_len, uint32_t baddr, uint32_t row,
                                uint32_t* words) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_INDEX_UPPER(rw_len, RW_LEN_MAX);
  QLIX_COMM_CHECK_INDEX_UPPER(baddr, DPP_DTB_DDR_BADDR_MAX);
  QLIX_COMM_CHECK_INDEX_UPPER(row, DPP_DTB_DDR_ROW_MAX);
  QLIX_COMM_CHECK_POINT(words);
  const dpp_formats::dtb_ddr form = {1, DPP_DTB_MODE_DDR, rw_len, 0, 0, baddr, 0, row};
  return answer_get(dev_id, queue_id, form, ROW_WORDS << rw_len, words);
}

uint32_t dpp_dtb_zcam_item_dump(uint32_t dev_id, uint32_t queue_id, uint32_t ram_reg_flag, uint32_t place,
                                uint32_t* words) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_INDEX_UPPER(ram_reg_flag, 1);
  QLIX_COMM_CHECK_INDEX_UPPER(place, DPP_DTB_ZCAM_PLACE_NUM - 1);
  QLIX_COMM_CHECK_POINT(words);
  const dpp_formats::dtb_zcam form = {1,    DPP_DTB_MODE_ZCAM, ram_reg_flag, place >> 14, place >> 11, place >> 9, 0,
                                      place};
  return answer_get(dev_id, queue_id, form, ITEM_WORDS, words);
}

uint32_t dpp_dtb_etcam_row_dump(uint32_t dev_id, uint32_t queue_id, uint32_t block, uint32_t row, uint32_t data_or_mask,
                                uint32_t* words, uint32_t* vbit) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_INDEX_UPPER(block, DPP_DTB_ETCAM_BLOCK_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(row, DPP_DTB_ETCAM_ROW_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(data_or_mask, 1);
  QLIX_COMM_CHECK_POINT(words);
  QLIX_COMM_CHECK_POINT(vbit);
  dpp_formats::dtb_etcam form{};
  form.valid = 1;
  form.type_mode = DPP_DTB_MODE_ETCAM;
  form.block_sel = block;
  form.rd_wr = 1;
  form.data_or_mask = data_or_mask;
  form.addr = row;
  uint32_t answer[ETCAM_ANSWER_WORDS] = {};
  QLIX_COMM_CALL(answer_get, dev_id, queue_id, form, ETCAM_ANSWER_WORDS, answer);
  std::copy_n(answer, DPP_DTB_ETCAM_WORDS, words);
  *vbit = answer[ETCAM_ANSWER_WORDS - 1] & VBIT_MASK;
  return QLIX_COMM_OK;
}
