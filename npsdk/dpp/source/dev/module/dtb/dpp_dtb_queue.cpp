// Queue records, their set-up, and the items in shared memory.
#include <cstring>
#include <new>

#include "dpp_chip/dpp_mutex.h"
#include "dpp_dtb_internal.h"
#include "qlix_comm/device_order.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

constinit std::atomic<dpp_dtb_mgr*> dtb_managers[DPP_DEV_MAX] = {};

namespace {

bool memory_keeps_words(const dpp_dtb_items& items) {
  for (uint32_t item = 0; item < DPP_DTB_ITEM_NUM; item++) {
    dpp_dtb_wr32(dtb_item_addr(items, item), DTB_ACK_TEST);
  }
  for (uint32_t item = 0; item < DPP_DTB_ITEM_NUM; item++) {
    if (dpp_dtb_rd32(dtb_item_addr(items, item)) != DTB_ACK_TEST) {
      return false;
    }
  }
  return true;
}

uint32_t items_init(uint32_t dev_id, uint32_t queue_id, uint32_t dir, const dpp_dtb_queue_cfg* cfg, const char* name) {
  dpp_dtb_mgr* mgr = dpp_dtb_mgr_get(dev_id);
  if (mgr == nullptr) {
    return DPP_RC_DTB_MGR_NOT_EXIST;
  }
  const uint32_t item_size = cfg->item_size == 0 ? DPP_DTB_ITEM_SIZE : cfg->item_size;
  if (item_size < DPP_DTB_ITEM_ACK_BYTES + DPP_DTB_LEN_MAX || item_size % 16 != 0 || cfg->phy_base % 16 != 0 ||
      cfg->vir_base == 0 || cfg->vir_base % 4 != 0) {
    QLIX_COMM_TRACE_ERROR("dtb queue [%d] %s: items of %u bytes at bus address 0x%llx do not suit the chip\n", queue_id,
                          name, item_size, static_cast<unsigned long long>(cfg->phy_base));
    return QLIX_COMM_OUT_OF_RANGE;
  }
  DTB_GUARD(guard, dpp_dev_dtb_opr_mutex_get, dev_id, DPP_DEV_MUTEX_T_DTB, queue_id);
  dpp_dtb_items* items = dtb_items_of(&mgr->queue[queue_id], dir);
  items->inited = 1;
  items->item_size = item_size;
  items->phy_base = cfg->phy_base;
  items->vir_base = cfg->vir_base;
  items->counter = 0;
  items->int_items = 0;
  if (!memory_keeps_words(*items)) {
    items->inited = 0;
    QLIX_COMM_PRINT("dtb queue [%d] %s init faild, mem err!!!\n", queue_id, name);
    return DPP_RC_DTB_MEMORY;
  }
  std::memset(dpp_dtb_memory(items->vir_base), 0, size_t{item_size} * DPP_DTB_ITEM_NUM);
  QLIX_COMM_PRINT("dtb queue [%d] %s init success!!!\n", queue_id, name);
  return QLIX_COMM_OK;
}

uint32_t ack_addr(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t word, uint64_t* addr) {
  QLIX_COMM_CHECK_INDEX_UPPER(word, DPP_DTB_ITEM_ACK_WORDS - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(item, DPP_DTB_ITEM_NUM - 1);
  dpp_dtb_items* items = nullptr;
  QLIX_COMM_PASS(dtb_items_get(dev_id, queue_id, dir, &items));
  *addr = dtb_item_addr(*items, item) + uint64_t{word} * 4;
  return QLIX_COMM_OK;
}

uint32_t buff_addr(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t offset_word,
                   uint32_t length, uint64_t* addr) {
  QLIX_COMM_CHECK_INDEX_UPPER(item, DPP_DTB_ITEM_NUM - 1);
  dpp_dtb_items* items = nullptr;
  QLIX_COMM_PASS(dtb_items_get(dev_id, queue_id, dir, &items));
  if (length % 4 != 0) {
    return DPP_RC_DTB_LEN;
  }
  const uint32_t room = items->item_size - DPP_DTB_ITEM_ACK_BYTES;
  QLIX_COMM_CHECK_INDEX_UPPER(length, room);
  QLIX_COMM_CHECK_INDEX_UPPER(offset_word, (room - length) / 4);
  *addr = dtb_item_addr(*items, item) + DPP_DTB_ITEM_ACK_BYTES + uint64_t{offset_word} * 4;
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t dpp_dtb_mgr_create(uint32_t dev_id) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  if (dtb_managers[dev_id].load() != nullptr) {
    return QLIX_COMM_OK;
  }
  void* memory = ic_comm_malloc_memory(sizeof(dpp_dtb_mgr));
  QLIX_COMM_CHECK_POINT(memory);
  dtb_managers[dev_id].store(new (memory) dpp_dtb_mgr{});
  return QLIX_COMM_OK;
}

uint32_t dpp_dtb_mgr_destroy(uint32_t dev_id) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  ic_comm_free_memory(dtb_managers[dev_id].exchange(nullptr));
  return QLIX_COMM_OK;
}

dpp_dtb_mgr* dpp_dtb_mgr_get(uint32_t dev_id) {
  dpp_dtb_mgr* mgr = dev_id < DPP_DEV_MAX ? dtb_managers[dev_id].load(std::memory_order_acquire) : nullptr;
  if (mgr == nullptr) {
    QLIX_COMM_TRACE_ERROR("ErrorCode[0x%x]: DTB Manager is not exist!!!\n", DPP_RC_DTB_MGR_NOT_EXIST);
  }
  return mgr;
}

uint32_t dtb_items_refuse(uint32_t dev_id, uint32_t queue_id, uint32_t dir) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_INDEX_UPPER(dir, DPP_DTB_DIR_DUMP);
  if (dpp_dtb_mgr_get(dev_id) == nullptr) {
    return DPP_RC_DTB_MGR_NOT_EXIST;
  }
  QLIX_COMM_TRACE_ERROR("dtb queue %d is not init.\n", queue_id);
  return DPP_RC_DTB_QUEUE_NOT_INIT;
}

uint32_t dpp_dtb_queue_down_init(uint32_t dev_id, uint32_t queue_id, const dpp_dtb_queue_cfg* cfg) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_POINT(cfg);
  return items_init(dev_id, queue_id, DPP_DTB_DIR_DOWN, cfg, "down");
}

uint32_t dpp_dtb_queue_dump_init(uint32_t dev_id, uint32_t queue_id, const dpp_dtb_queue_cfg* cfg) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  QLIX_COMM_CHECK_POINT(cfg);
  return items_init(dev_id, queue_id, DPP_DTB_DIR_DUMP, cfg, "dump");
}

uint32_t dpp_dtb_queue_requst(uint32_t dev_id, uint32_t vport, uint32_t* queue_id) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_POINT(queue_id);
  dpp_dtb_mgr* mgr = dpp_dtb_mgr_get(dev_id);
  if (mgr == nullptr) {
    return DPP_RC_DTB_MGR_NOT_EXIST;
  }
  DTB_GUARD(guard, dpp_dev_opr_mutex_get, dev_id, DPP_DEV_MUTEX_T_DTB);
  for (uint32_t i = 0; i < DPP_DTB_QUEUE_NUM; i++) {
    if (mgr->queue[i].in_use == 0) {
      mgr->queue[i].in_use = 1;
      mgr->queue[i].vport = vport;
      *queue_id = i;
      return QLIX_COMM_OK;
    }
  }
  QLIX_COMM_TRACE_ERROR("ErrorCode[0x%x]: all %u dtb queues of device %u are in use\n", DPP_RC_DTB_NO_QUEUE,
                        DPP_DTB_QUEUE_NUM, dev_id);
  return DPP_RC_DTB_NO_QUEUE;
}

uint32_t dpp_dtb_queue_release(uint32_t dev_id, uint32_t vport, uint32_t queue_id) {
  DTB_CHECK_QUEUE(dev_id, queue_id);
  dpp_dtb_mgr* mgr = dpp_dtb_mgr_get(dev_id);
  if (mgr == nullptr) {
    return DPP_RC_DTB_MGR_NOT_EXIST;
  }
  DTB_GUARD(guard, dpp_dev_opr_mutex_get, dev_id, DPP_DEV_MUTEX_T_DTB);
  dpp_dtb_queue* queue = &mgr->queue[queue_id];
  if (queue->in_use == 0 || queue->vport != vport) {
    QLIX_COMM_TRACE_ERROR("ErrorCode[0x%x]: dtb queue %u is not held by vport 0x%x\n", DPP_RC_DTB_QUEUE_NOT_OWNED,
                          queue_id, vport);
    return DPP_RC_DTB_QUEUE_NOT_OWNED;
  }
  queue->in_use = 0;
  queue->down.inited = 0;
  queue->dump.inited = 0;
  return QLIX_COMM_OK;
}

uint32_t dpp_dtb_item_ack_rd(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t word,
                             uint32_t* value) {
  QLIX_COMM_CHECK_POINT(value);
  uint64_t addr = 0;
  QLIX_COMM_PASS(ack_addr(dev_id, queue_id, dir, item, word, &addr));
  *value = dpp_dtb_rd32(addr);
  qlix_comm_order_completion_before_data();
  return QLIX_COMM_OK;
}

uint32_t dpp_dtb_item_ack_wr(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t word,
                             uint32_t value) {
  uint64_t addr = 0;
  QLIX_COMM_PASS(ack_addr(dev_id, queue_id, dir, item, word, &addr));
  dpp_dtb_wr32(addr, value);
  return QLIX_COMM_OK;
}

uint32_t dpp_dtb_item_buff_rd(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t offset_word,
                              uint32_t length, uint32_t* data) {
  QLIX_COMM_CHECK_POINT(data);
  uint64_t addr = 0;
  QLIX_COMM_PASS(buff_addr(dev_id, queue_id, dir, item, offset_word, length, &addr));
  std::memcpy(data, dpp_dtb_memory(addr), length);  // NOLINT(clang-analyzer-core.NonNullParamChecker)
  return QLIX_COMM_OK;
}

uint32_t dpp_dtb_item_buff_wr(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t offset_word,
                              uint32_t length, const uint32_t* data) {
  QLIX_COMM_CHECK_POINT(data);
  uint64_t addr = 0;
  QLIX_COMM_PASS(buff_addr(dev_id, queue_id, dir, item, offset_word, length, &addr));
  std::memcpy(dpp_dtb_memory(addr), data, length);  // NOLINT(clang-analyzer-core.NonNullParamChecker)
  return QLIX_COMM_OK;
}
