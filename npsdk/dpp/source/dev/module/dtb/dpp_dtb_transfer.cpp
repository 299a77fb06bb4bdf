// Posting items and waiting for their completion.
#include <unistd.h>

#include <cstring>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_chip/dpp_mutex.h"
#include "dpp_dtb/dpp_dtb_cfg.h"
#include "dpp_dtb_internal.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/device_order.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t LEN_MASK = 0x3FF;
constexpr uint32_t INT_EN_BIT = 29;
constexpr uint32_t CMD_TYPE_BIT = 30;

bool no_hardware(uint32_t dev_id) {
  return dpp_dev_get_dev_type(dev_id) == DPP_DEV_TYPE_NONE;
}

/// In agent mode the queues' settings are not the driver's to read and read 0: the check passes no post.
void agent_mode_tell(uint32_t dev_id) {
  const dpp_reg_info* info = dpp_reg_info_get(dpp_regs::dtb_cfg_queue_en::NUMBER);
  if (info != nullptr && dpp_dev_is_agent_mode(dev_id) && !dpp_4k_reg(info->mod_no)) {
    QLIX_COMM_TRACE_ERROR("\ndevice %u is in agent mode: its queues can be posted to with the info check off only\n",
                          dev_id);
  }
}

/// Asks the chip whether it would take an item of the queue.
uint32_t info_check(uint32_t dev_id, uint32_t queue_id) {
  DPP_REG_READ(dpp_regs::dtb_cfg_queue_en, enabled, dev_id, 0, queue_id);
  if (enabled.queue_en == 0) {
    QLIX_COMM_TRACE_ERROR("the queue %d is not enable!", queue_id);
    agent_mode_tell(dev_id);
    return DPP_RC_DTB_QUEUE_NOT_ENABLE;
  }
  DPP_REG_READ(dpp_regs::dtb_queue_item_left, left, dev_id, 0, queue_id);
  return left.item_left == 0 ? DPP_RC_DTB_NO_ITEM : QLIX_COMM_OK;
}

/// Takes the next item whose acknowledge word says that neither side owns it.
uint32_t free_item_take(dpp_dtb_items* items, uint32_t* item) {
  for (uint32_t tries = 0; tries < DPP_DTB_ITEM_NUM; tries++) {
    const uint32_t candidate = items->counter++ % DPP_DTB_ITEM_NUM;
    if (dtb_ack_state(dpp_dtb_rd32(dtb_item_addr(*items, candidate))) == 0) {
      *item = candidate;
      return QLIX_COMM_OK;
    }
  }
  return DPP_RC_DTB_ITEMS_BUSY;
}

/// Writes the three doorbell registers of a queue; the length word starts the transfer. Another process may post to
/// the same queue, with memory of its own.
inline uint32_t doorbell_ring(uint32_t dev_id, uint32_t queue_id, const dpp_dtb_item_info& info) {
  DPP_CARD_GUARD(card, dev_id, nullptr);
  QLIX_COMM_PASS(card.status());
  qlix_comm_order_memory_before_doorbell();
  dpp_regs::cfg_queue_dtb_addr_h_0_127 high = {};
  high.cfg_queue_dtb_addr_h = info.data_addr_h;
  QLIX_COMM_CALL(dpp_reg_write, dev_id, 0, queue_id, high);
  dpp_regs::cfg_queue_dtb_addr_l_0_127 low = {};
  low.cfg_queue_dtb_addr_l = info.data_addr_l;
  QLIX_COMM_CALL(dpp_reg_write, dev_id, 0, queue_id, low);
  dpp_regs::cfg_queue_dtb_len_0_127 start = {};
  start.cfg_dtb_cmd_type = info.cmd_type;
  start.cfg_dtb_cmd_int_en = info.int_en;
  start.cfg_queue_dtb_len = info.data_len;
  return QLIX_COMM_CALLED(dpp_reg_write, dev_id, 0, queue_id, start);
}

/// Out of line, so that the record's address does not keep it in memory where nothing is printed.
[[gnu::cold, gnu::noinline]] void info_print(uint32_t dev_id, uint32_t queue_id, uint32_t item,
                                             dpp_dtb_item_info info) {
  dpp_dtb_info_print(dev_id, queue_id, item, &info);
}

/// Fills an item, hands it over and rings the doorbell. REQUIRES: the queue's mutex, or an item that the caller owns.
inline uint32_t item_send(uint32_t dev_id, uint32_t queue_id, uint32_t dir, dpp_dtb_items* items, uint32_t item,
                          uint32_t int_en, uint32_t length, const uint32_t* data) {
  const uint64_t addr = dtb_item_addr(*items, item);
  std::memcpy(dpp_dtb_memory(addr + DPP_DTB_ITEM_ACK_BYTES), data, length);
  dpp_dtb_wr32(addr, DTB_ACK_POSTED);

  const uint64_t bus = items->phy_base + uint64_t{item} * items->item_size;
  const dpp_dtb_item_info info = {.cmd_vld = 1,
                                  .cmd_type = dir,
                                  .int_en = int_en,
                                  .data_len = length / 4,
                                  .data_addr_l = static_cast<uint32_t>(bus >> 4),
                                  .data_addr_h = static_cast<uint32_t>(bus >> 36)};
  const uint32_t bit = 1u << item;
  if (int_en != 0) {
    items->int_items.fetch_or(bit);
  } else if ((items->int_items.load(std::memory_order_relaxed) & bit) != 0) {
    items->int_items.fetch_and(~bit);
  }
  if (dtb_switch_on(DTB_SWITCH_PRINT)) {
    info_print(dev_id, queue_id, item, info);
  }
  if (dtb_switch_on(DTB_SWITCH_SOFT_PERF) || no_hardware(dev_id)) {
    return QLIX_COMM_OK;
  }
  const uint32_t rc = doorbell_ring(dev_id, queue_id, info);
  if (rc != QLIX_COMM_OK) {
    dpp_dtb_wr32(addr, 0);  // the doorbell did not ring: the item is still ours
  }
  return rc;
}

/// Registers that tell why a completion stays away.
constexpr uint32_t AXI_REGISTERS[] = {dpp_regs::dtb_axi_last_operate::NUMBER, dpp_regs::dtb_axi_last_addr::NUMBER,
                                      dpp_regs::dtb_axi_channel_state::NUMBER,
                                      dpp_regs::dtb_axi_rd_resp_err_cnt::NUMBER,
                                      dpp_regs::dtb_axi_wr_resp_err_cnt::NUMBER};
constexpr size_t BLOCK_PREFIX = sizeof "dtb_" - 1;  // of their names

[[gnu::cold, gnu::noinline]] void overtime_print(uint32_t dev_id, uint32_t queue_id, const char* direction,
                                                 uint32_t item, uint64_t addr) {
  QLIX_COMM_TRACE_ERROR("Error!!! dpp dtb %s queue [%d] item [%d] ack success is overtime!\n", direction, queue_id,
                        item);
  QLIX_COMM_PRINT("************************ dtb %s table info ************************\n", direction);
  dpp_dtb_item_info info{};
  if (dpp_dtb_queue_item_info_get(dev_id, queue_id, &info) == QLIX_COMM_OK) {
    dpp_dtb_info_print(dev_id, queue_id, item, &info);
  }
  for (uint32_t word = 0; word < DPP_DTB_ITEM_ACK_WORDS; word++) {
    QLIX_COMM_PRINT("ack_word_%u                 : 0x%08x\n", word, dpp_dtb_rd32(addr + uint64_t{word} * 4));
  }
  QLIX_COMM_PRINT("************************ dtb reg info ************************\n");
  for (const uint32_t reg_no : AXI_REGISTERS) {
    uint32_t values[DPP_REG_FIELD_MAX] = {};
    if (dpp_reg_read(dev_id, reg_no, 0, 0, values) != QLIX_COMM_OK) {
      continue;
    }
    for (uint32_t field = 0; field < dpp_reg_info_get(reg_no)->field_num; field++) {
      QLIX_COMM_PRINT("%-20s[%u]    : 0x%08x\n", dpp_reg_name_get(reg_no) + BLOCK_PREFIX, field, values[field]);
    }
  }
  QLIX_COMM_PRINT("**************************************************************\n");
}

void finish_event_clear(uint32_t dev_id, uint32_t queue_id, dpp_dtb_items* items, uint32_t item) {
  const uint32_t bit = 1u << item;
  if ((items->int_items.load(std::memory_order_relaxed) & bit) != 0) {
    items->int_items.fetch_and(~bit);
    // One bit a queue; writing 1 clears it.
    dpp_reg_write32_bymn(dev_id, dpp_regs::dtb_finish_int_event::NUMBER, 0, queue_id / 32, 1u << queue_id % 32);
  }
}

/// Polls the acknowledge word until the chip has completed the item; `*ack` is what it said. Leaves the word as it is.
inline uint32_t completion_wait(uint32_t dev_id, uint32_t queue_id, dpp_dtb_items* items, uint32_t item, uint32_t limit,
                                const char* direction, uint32_t* ack) {
  const uint64_t addr = dtb_item_addr(*items, item);
  for (uint32_t polls = 1;; polls++) {
    *ack = dpp_dtb_rd32(addr);
    QLIX_COMM_TRACE_DEBUG("dpp_dtb_item_ack_rd ack_value:0x%08x\n", *ack);
    if (dtb_ack_state(*ack) == DTB_ACK_DONE) [[likely]] {
      qlix_comm_order_completion_before_data();
      break;
    }
    if (polls > limit) {
      overtime_print(dev_id, queue_id, direction, item, addr);
      return DPP_RC_DTB_OVERTIME;
    }
    usleep(dpp_dtb_delay_overtime_get());
  }
  finish_event_clear(dev_id, queue_id, items, item);
  return QLIX_COMM_OK;
}

uint32_t status_of(uint32_t ack) {
  return (ack & DTB_ACK_STATUS_MASK) == DTB_ACK_SUCCESS ? QLIX_COMM_OK : ack;
}

bool completion_granted(uint32_t dev_id) {
  return dtb_switch_on(DTB_SWITCH_SOFT_PERF | DTB_SWITCH_HARDWARE_PERF) || no_hardware(dev_id);
}

uint32_t length_check(uint32_t length) {
  QLIX_COMM_CHECK_INDEX(length, DPP_DTB_LEN_MIN, DPP_DTB_LEN_MAX);
  if (length % 4 != 0) {
    QLIX_COMM_TRACE_ERROR("ErrorCode[0x%x]: %u bytes are no whole number of words\n", DPP_RC_DTB_LEN, length);
    return DPP_RC_DTB_LEN;
  }
  return QLIX_COMM_OK;
}

/// Posts a block; `*items` are those of the queue that took it.
inline uint32_t block_post(uint32_t dev_id, uint32_t queue_id, uint32_t int_en, uint32_t length, const uint32_t* data,
                           uint32_t* item, dpp_dtb_items** items) {
  QLIX_COMM_PASS(length_check(length));
  DTB_GUARD(guard, dpp_dev_dtb_opr_mutex_get, dev_id, DPP_DEV_MUTEX_T_DTB, queue_id);
  QLIX_COMM_PASS(dtb_items_get(dev_id, queue_id, DPP_DTB_DIR_DOWN, items));
  if (dtb_switch_on(DTB_SWITCH_INFO_CHECK)) {
    QLIX_COMM_PASS(info_check(dev_id, queue_id));
  }
  QLIX_COMM_PASS(free_item_take(*items, item));
  QLIX_COMM_PASS(item_send(dev_id, queue_id, DPP_DTB_DIR_DOWN, *items, *item, int_en, length, data));
  return guard.unlock();
}

/// Waits for a posted block and frees its item.
inline uint32_t block_check(uint32_t dev_id, uint32_t queue_id, dpp_dtb_items* items, uint32_t item) {
  const uint64_t addr = dtb_item_addr(*items, item);
  if (completion_granted(dev_id)) {
    dpp_dtb_wr32(addr, 0);
    return QLIX_COMM_OK;
  }
  if (dtb_switch_on(DTB_SWITCH_DEBUG)) {
    return QLIX_COMM_OK;
  }
  uint32_t ack = 0;
  const uint32_t rc = completion_wait(dev_id, queue_id, items, item, dpp_dtb_down_table_overtime_get(), "down", &ack);
  dpp_dtb_wr32(addr, 0);
  return rc != QLIX_COMM_OK ? rc : status_of(ack);
}

}  // namespace

uint32_t dpp_dtb_queue_item_info_set(uint32_t dev_id, uint32_t queue_id, const dpp_dtb_item_info* info) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_POINT(info);
  return doorbell_ring(dev_id, queue_id, *info);
}

uint32_t dpp_dtb_queue_item_info_get(uint32_t dev_id, uint32_t queue_id, dpp_dtb_item_info* info) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_POINT(info);
  uint32_t word = 0;
  *info = {};
  DPP_CARD_GUARD(card, dev_id, nullptr);
  QLIX_COMM_PASS(card.status());
  QLIX_COMM_CALL(dpp_reg_read32, dev_id, dpp_regs::cfg_queue_dtb_addr_h_0_127::NUMBER, 0, queue_id, &info->data_addr_h);
  QLIX_COMM_CALL(dpp_reg_read32, dev_id, dpp_regs::cfg_queue_dtb_addr_l_0_127::NUMBER, 0, queue_id, &info->data_addr_l);
  QLIX_COMM_CALL(dpp_reg_read32, dev_id, dpp_regs::cfg_queue_dtb_len_0_127::NUMBER, 0, queue_id, &word);
  info->cmd_vld = 1;
  info->data_len = word & LEN_MASK;
  info->int_en = word >> INT_EN_BIT & 1;
  info->cmd_type = word >> CMD_TYPE_BIT & 1;
  return QLIX_COMM_OK;
}

void dpp_dtb_info_print(uint32_t dev_id, uint32_t queue_id, uint32_t item, const dpp_dtb_item_info* info) {
  const struct {
    const char* name;
    uint32_t value;
  } rows[] = {
      {"dev_id", dev_id},
      {"queue_id", queue_id},
      {"item", item},
      {"cmd_vld", info->cmd_vld},
      {"cmd_type", info->cmd_type},
      {"int_en", info->int_en},
      {"data_len", info->data_len},
      {"data_addr_l", info->data_addr_l},
      {"data_addr_h", info->data_addr_h},
  };
  for (const auto& row : rows) {
    QLIX_COMM_PRINT("%-26s : 0x%x\n", row.name, row.value);
  }
}

uint32_t dpp_dtb_tab_down_info_set(uint32_t dev_id, uint32_t queue_id, uint32_t int_en, uint32_t length,
                                   const uint32_t* data, uint32_t* item) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_POINT(data);
  QLIX_COMM_CHECK_POINT(item);
  dpp_dtb_items* items = nullptr;
  return block_post(dev_id, queue_id, int_en, length, data, item, &items);
}

uint32_t dpp_dtb_tab_down_success_status_check(uint32_t dev_id, uint32_t queue_id, uint32_t item) {
  QLIX_COMM_CHECK_INDEX_UPPER(item, DPP_DTB_ITEM_NUM - 1);
  dpp_dtb_items* items = nullptr;
  QLIX_COMM_PASS(dtb_items_get(dev_id, queue_id, DPP_DTB_DIR_DOWN, &items));
  return block_check(dev_id, queue_id, items, item);
}

uint32_t dpp_dtb_write_down_table_data(uint32_t dev_id, uint32_t queue_id, uint32_t length, const uint32_t* data) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_POINT(data);
  uint32_t item = 0;
  dpp_dtb_items* items = nullptr;
  QLIX_COMM_CHECK_RC(block_post(dev_id, queue_id, 0, length, data, &item, &items), "dpp_dtb_tab_down_info_set");
  QLIX_COMM_CHECK_POINT(items);
  QLIX_COMM_CHECK_RC(block_check(dev_id, queue_id, items, item), "dpp_dtb_tab_down_success_status_check");
  return QLIX_COMM_OK;
}

uint32_t dpp_dtb_tab_up_free_item_get(uint32_t dev_id, uint32_t queue_id, uint32_t* item) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_POINT(item);
  DTB_GUARD(guard, dpp_dev_dtb_opr_mutex_get, dev_id, DPP_DEV_MUTEX_T_DTB, queue_id);
  dpp_dtb_items* items = nullptr;
  QLIX_COMM_PASS(dtb_items_get(dev_id, queue_id, DPP_DTB_DIR_DUMP, &items));
  QLIX_COMM_PASS(free_item_take(items, item));
  dpp_dtb_wr32(dtb_item_addr(*items, *item), DTB_ACK_POSTED);  // taken from here on
  return guard.unlock();
}

uint32_t dpp_dtb_tab_up_info_set(uint32_t dev_id, uint32_t queue_id, uint32_t item, uint32_t int_en, uint32_t length,
                                 const uint32_t* data) {
  QLIX_COMM_CHECK_INDEX_UPPER(item, DPP_DTB_ITEM_NUM - 1);
  QLIX_COMM_CHECK_POINT(data);
  dpp_dtb_items* items = nullptr;
  QLIX_COMM_PASS(dtb_items_get(dev_id, queue_id, DPP_DTB_DIR_DUMP, &items));
  uint32_t rc = length_check(length);
  dpp_mutex* mutex = nullptr;
  if (rc == QLIX_COMM_OK) {
    // The doorbell registers of the queue are one set: two posts must not mix.
    rc = dpp_dev_dtb_opr_mutex_get(dev_id, DPP_DEV_MUTEX_T_DTB, queue_id, &mutex);
  }
  if (rc == QLIX_COMM_OK) {
    DPP_MUTEX_GUARD(guard, mutex);
    rc = !guard.locked() ? guard.status()
                         : item_send(dev_id, queue_id, DPP_DTB_DIR_DUMP, items, item, int_en, length, data);
  }
  if (rc != QLIX_COMM_OK) {
    dpp_dtb_wr32(dtb_item_addr(*items, item), 0);
  }
  return rc;
}

uint32_t dpp_dtb_tab_up_success_status_check(uint32_t dev_id, uint32_t queue_id, uint32_t item) {
  QLIX_COMM_CHECK_INDEX_UPPER(item, DPP_DTB_ITEM_NUM - 1);
  dpp_dtb_items* items = nullptr;
  QLIX_COMM_PASS(dtb_items_get(dev_id, queue_id, DPP_DTB_DIR_DUMP, &items));
  if (completion_granted(dev_id) || dtb_switch_on(DTB_SWITCH_DEBUG)) {
    return QLIX_COMM_OK;
  }
  uint32_t ack = 0;
  uint32_t rc = completion_wait(dev_id, queue_id, items, item, dpp_dtb_dump_table_overtime_get(), "dump", &ack);
  rc = rc != QLIX_COMM_OK ? rc : status_of(ack);
  if (rc != QLIX_COMM_OK) {
    dpp_dtb_wr32(dtb_item_addr(*items, item), 0);
  }
  return rc;
}

uint32_t dpp_dtb_tab_up_data_get(uint32_t dev_id, uint32_t queue_id, uint32_t item, uint32_t length, uint32_t* data) {
  QLIX_COMM_PASS(dpp_dtb_item_buff_rd(dev_id, queue_id, DPP_DTB_DIR_DUMP, item, 0, length, data));
  return dpp_dtb_item_ack_wr(dev_id, queue_id, DPP_DTB_DIR_DUMP, item, 0, 0);
}
