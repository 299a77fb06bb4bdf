#include <mutex>

#include "dpp_dev_internal.h"

constinit std::atomic<uint32_t> dpp_dev_soft_ints{0};

namespace {

struct soft_int_value {
  uint32_t addr;
  uint32_t value;
};

// Collected by the interrupt thread, looked at by every reader: the lock guards the values, the switches stand outside
// it so that a device without soft interrupts pays one load a read.
struct soft_int_table {
  std::mutex lock;
  std::atomic<uint32_t> enable{0};  // as it was set
  uint32_t num = 0;
  soft_int_value values[DPP_DEV_SOFT_INT_MAX] = {};
};
constinit soft_int_table tables[DPP_DEV_MAX];

soft_int_value* value_find(soft_int_table& table, uint32_t addr) {
  for (uint32_t i = 0; i < table.num; ++i) {
    if (table.values[i].addr == addr) {
      return &table.values[i];
    }
  }
  return nullptr;
}

}  // namespace

uint32_t dpp_dev_soft_int_enable_set(uint32_t dev_id, uint32_t enable) {
  DPP_DEV_CHECK_ID(dev_id);
  tables[dev_id].enable = enable;
  enable != 0 ? dpp_dev_soft_ints.fetch_or(1u << dev_id) : dpp_dev_soft_ints.fetch_and(~(1u << dev_id));
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_soft_int_enable_get(uint32_t dev_id, uint32_t* enable) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_POINT(enable);
  *enable = tables[dev_id].enable;
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_soft_int_add(uint32_t dev_id, uint32_t addr, uint32_t value) {
  DPP_DEV_CHECK_ID(dev_id);
  soft_int_table& table = tables[dev_id];
  const std::lock_guard guard(table.lock);
  soft_int_value* entry = value_find(table, addr);
  if (entry == nullptr) {
    QLIX_COMM_CHECK_INDEX_UPPER(table.num, DPP_DEV_SOFT_INT_MAX - 1);
    entry = &table.values[table.num++];
  }
  *entry = {addr, value};
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_soft_int_clear(uint32_t dev_id) {
  DPP_DEV_CHECK_ID(dev_id);
  const std::lock_guard guard(tables[dev_id].lock);
  tables[dev_id].num = 0;
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_soft_int_search(uint32_t dev_id, uint32_t addr, uint32_t* value, uint32_t* found) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_POINT(value);
  QLIX_COMM_CHECK_POINT(found);
  const std::lock_guard guard(tables[dev_id].lock);
  const soft_int_value* entry = value_find(tables[dev_id], addr);
  *found = entry != nullptr ? 1 : 0;
  if (entry != nullptr) {
    *value = entry->value;
  }
  return QLIX_COMM_OK;
}
