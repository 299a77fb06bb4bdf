// Table entries written through a queue of the queue engine, which must have been set up.
#include <endian.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "dpp_diag/dpp_diag_code.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_work.h"
#include "dpp_dtb/dpp_dtb.h"
#include "dpp_dtb/dpp_dtb_dump.h"
#include "dpp_dtb/dpp_dtb_table.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t ROW_BYTES = 16;
constexpr uint32_t ZCAM_ITEM_BYTES = 64;
constexpr uint32_t ETCAM_ROW_BYTES = 80;
constexpr uint32_t ALL_QUARTERS = 0xF;
constexpr uint32_t ALL_PARTS = 0xFF;

/// Elements on their way to the chip, as many in one block as fit.
class block_sender {
 public:
  block_sender(uint32_t dev_id, uint32_t queue_id) : dev_id_(dev_id), queue_id_(queue_id) {}

  uint32_t add(const dpp_dtb_entry& entry) {
    const uint32_t size = DPP_DTB_CMD_BYTES + (entry.data_in_cmd_flag != 0 ? 0 : entry.data_size);
    if (size > sizeof(bytes_) - length_) {
      QLIX_COMM_PASS(send());
    }
    return dpp_dtb_entry_append(bytes_, sizeof(bytes_), &length_, &entry);
  }

  /// All elements of an entry were added.
  void entry_end() {
    ++entries_;
  }

  uint32_t send() {
    const uint32_t length = std::exchange(length_, 0);
    const uint32_t code = length == 0 ? QLIX_COMM_OK
                                      : dpp_dtb_write_down_table_data(dev_id_, queue_id_, length,
                                                                      reinterpret_cast<const uint32_t*>(bytes_));
    written_ = code == QLIX_COMM_OK ? entries_ : written_;
    return code;
  }

  /// Entries that the chip has executed whole.
  uint32_t written() const {
    return written_;
  }

 private:
  uint32_t dev_id_;
  uint32_t queue_id_;
  uint32_t length_ = 0;
  uint32_t entries_ = 0;
  uint32_t written_ = 0;
  alignas(uint32_t) uint8_t bytes_[DPP_DTB_LEN_MAX];
};

/// Adds an element of zeros for the command of a form.
template <typename Form>
uint32_t zeros_add(block_sender& block, const Form& form, uint32_t data_size) {
  dpp_dtb_entry entry = {};
  entry.data_size = data_size;
  dpp_dtb_table_cmd_pack(form, entry.cmd);
  return block.add(entry);
}

uint32_t eram_row_clear(block_sender& block, uint32_t row) {
  const dpp_formats::dtb_eram_128 form = {1, DPP_DTB_MODE_ERAM, DPP_ERAM_DATA_128, 1, 0, 0, row};
  return zeros_add(block, form, ROW_BYTES);
}

uint32_t ddr_row_clear(block_sender& block, uint32_t row) {
  const dpp_formats::dtb_ddr form = {1, DPP_DTB_MODE_DDR,           0, 0, 0, row / DPP_DTB_DDR_BASE_ROWS,
                                     0, row % DPP_DTB_DDR_BASE_ROWS};
  return zeros_add(block, form, ROW_BYTES);
}

uint32_t zcam_item_clear(block_sender& block, uint32_t place) {
  const dpp_formats::dtb_zcam form = {1,          DPP_DTB_MODE_ZCAM, 1,    place >> 14, place >> 11,
                                      place >> 9, ALL_QUARTERS,      place};
  return zeros_add(block, form, ZCAM_ITEM_BYTES);
}

// The valid bits go first, so that no key ever matches a half-cleared row.
uint32_t etcam_row_clear(block_sender& block, uint32_t place) {
  for (uint32_t mask = 0; mask <= 1; ++mask) {
    dpp_formats::dtb_etcam form{};
    form.valid = 1;
    form.type_mode = DPP_DTB_MODE_ETCAM;
    form.block_sel = place / DPP_DTB_ETCAM_ROW_NUM;
    form.vben = 1;
    form.wr_mode = ALL_PARTS;
    form.data_or_mask = mask;
    form.addr = place % DPP_DTB_ETCAM_ROW_NUM;
    QLIX_COMM_CHECK_RC(zeros_add(block, form, ETCAM_ROW_BYTES), "block_sender::add");
  }
  return QLIX_COMM_OK;
}

struct memory {
  const char* name;
  uint32_t entry_num;
  uint32_t (*clear)(block_sender& block, uint32_t index);
};
// By the number that the command takes.
constexpr memory MEMORIES[] = {
    {"smmu0", DPP_DTB_ERAM_ROW_NUM, eram_row_clear},
    {"smmu1", 1u << 28, ddr_row_clear},
    {"zcam", DPP_DTB_ZCAM_PLACE_NUM, zcam_item_clear},
    {"etcam", DPP_DTB_ETCAM_BLOCK_NUM* DPP_DTB_ETCAM_ROW_NUM, etcam_row_clear},
};

/// The percentage that the status line shows.
class progress {
 public:
  progress(const char* name, uint32_t num) : name_(name), num_(num) {}
  void draw(uint32_t done) {
    const auto percent = static_cast<uint32_t>(uint64_t{done} * 100 / num_);
    if (percent != shown_) {
      shown_ = percent;
      char text[64];
      snprintf(text, sizeof text, "%s: %u%% cleared", name_, percent);
      dpp_work::status(text);
    }
  }

 private:
  const char* name_;
  uint32_t num_;
  uint32_t shown_ = UINT32_MAX;  // nothing yet
};

/// Clears until the end, a refusal or an interrupt.
uint32_t entries_clear(const memory& cleared, block_sender& block, uint32_t index, uint32_t num) {
  progress shown(cleared.name, num);
  for (uint32_t i = 0; i < num; ++i) {
    if (dpp_work::interrupted()) {
      // What is begun is ended: a row is not left between its two elements.
      const uint32_t code = block.send();
      return code != QLIX_COMM_OK ? code : DPP_RC_DIAG_INTERRUPTED;
    }
    QLIX_COMM_CHECK_RC(cleared.clear(block, index + i), "dpp_dtb_write_down_table_data");
    block.entry_end();
    shown.draw(block.written());
  }
  QLIX_COMM_CHECK_RC(block.send(), "dpp_dtb_write_down_table_data");
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t diag_dpp_dtb_smmu0_write_64(uint32_t dev_id, uint32_t queue_id, uint32_t index, uint32_t data_h,
                                     uint32_t data_l) {
  const uint32_t data[] = {data_h, data_l};
  return QLIX_COMM_CALLED(dpp_dtb_smmu0_write, dev_id, queue_id, DPP_ERAM_DATA_64, index, data);
}

uint32_t diag_dpp_dtb_smmu0_write_128(uint32_t dev_id, uint32_t queue_id, uint32_t index, uint32_t data_0,
                                      uint32_t data_1, uint32_t data_2, uint32_t data_3) {
  const uint32_t data[] = {htobe32(data_0), htobe32(data_1), htobe32(data_2), htobe32(data_3)};
  return QLIX_COMM_CALLED(dpp_dtb_smmu0_write, dev_id, queue_id, DPP_ERAM_DATA_128, index, data);
}

uint32_t dpp_dtb_table_flush(uint32_t dev_id, uint32_t queue_id, uint32_t table, uint32_t index, uint32_t num) {
  const memory& cleared = MEMORIES[table];
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, cleared.entry_num - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, num, 1, cleared.entry_num - index);
  const dpp_work work;  // until what was done is told
  block_sender block(dev_id, queue_id);
  const uint32_t code = entries_clear(cleared, block, index, num);
  if (code != QLIX_COMM_OK) {
    QLIX_COMM_PRINT("%s: %s, 0x%x of 0x%x entries from 0x%x on are cleared\n", cleared.name,
                    code == DPP_RC_DIAG_INTERRUPTED ? "interrupted" : "stopped", block.written(), num, index);
    return code == DPP_RC_DIAG_INTERRUPTED ? code
                                           : qlix_comm_detail::report_call(QLIX_COMM_HERE, code, "entries_clear");
  }
  QLIX_COMM_PRINT("%s: entries 0x%x to 0x%x are cleared\n", cleared.name, index, index + num - 1);
  return QLIX_COMM_OK;
}
