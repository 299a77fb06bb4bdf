#include "dpp_chip/dpp_dev.h"

#include <algorithm>
#include <cstring>

#include "dpp_dev_internal.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

namespace {

// Where the chip keeps its version; asked before the register table of the layer above is of use.
constexpr uint32_t CHIP_VERSION_ADDR = 0x2000;

dpp_dev_mgr dev_mgr;

uint32_t object_create(uint32_t dev_id) {
  auto* object = static_cast<dpp_dev_object*>(ic_comm_malloc_memory(sizeof(dpp_dev_object)));
  QLIX_COMM_CHECK_POINT(object);
  memset(static_cast<void*>(object), 0, sizeof *object);
  uint32_t rc = dpp_dev_mutexes_create(object->mutexes);
  rc = rc != 0 ? rc : qlix_comm_mutex_create(&object->card.mutex);
  if (rc != 0) {
    ic_comm_free_memory(object);
    return rc;
  }
  dev_mgr.p_dev_array[dev_id] = &object->cfg;
  ++dev_mgr.device_num;
  return 0;
}

// A device without an answer keeps version 0: the record is usable all the same.
void chip_version_query(dpp_dev_cfg& dev) {
  uint32_t version = 0;
  if (dev.dev_type < DPP_DEV_TYPE_CHIP &&
      dpp_dev_read_channel(dev.dev_id, CHIP_VERSION_ADDR, 1, &version) == QLIX_COMM_OK) {
    dev.chip_version = version;
  }
}

// Whether a value that was collected stands for the address.
[[gnu::cold]] bool soft_int_answer(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint32_t* data) {
  uint32_t value = 0;
  uint32_t found = 0;
  if (dpp_dev_soft_int_search(dev_id, addr, &value, &found) != QLIX_COMM_OK || found == 0) {
    return false;
  }
  QLIX_COMM_TRACE_DEBUG("Search done,Addr = %d, Value = %d!\n", addr, value);
  std::fill_n(data, word_count, 0u);
  *data = value;
  return true;
}

/// The hook of the access type of a device below DPP_DEV_MAX; null, with a line, for a device or a type that does not
/// exist.
template <typename Hook>
Hook hook_of(uint32_t dev_id, Hook dpp_dev_cfg::*pcie, Hook dpp_dev_cfg::*riscv) {
  const dpp_dev_cfg* dev = dev_mgr.p_dev_array[dev_id];  // none before the manager runs
  if (dev != nullptr && dev->access_type <= DPP_DEV_ACCESS_TYPE_RISCV) [[likely]] {
    return dev->access_type == DPP_DEV_ACCESS_TYPE_PCIE ? dev->*pcie : dev->*riscv;
  }
  if (dev == nullptr) {
    QLIX_COMM_TRACE_ERROR("Error: Channel[%d] dev is not exist!\n ", dev_id);
  } else {
    QLIX_COMM_TRACE_ERROR("Dev access type[ %d ] is invalid!\n", dev->access_type);
  }
  return nullptr;
}

}  // namespace

uint32_t dpp_dev_init() {
  if (dev_mgr.is_init != 0) {
    QLIX_COMM_PRINT("Dev is already initialized.\n");
    return QLIX_COMM_OK;
  }
  dev_mgr.device_num = 0;
  dev_mgr.is_init = 1;
  return QLIX_COMM_OK;
}

bool dpp_dev_mgr_is_init() {
  return dev_mgr.is_init != 0;
}

dpp_dev_mgr* dpp_dev_mgr_get() {
  if (dev_mgr.is_init == 0) {
    QLIX_COMM_TRACE_ERROR("Error: dev_mgr is not init.\n");
    return nullptr;
  }
  return &dev_mgr;
}

uint32_t dpp_dev_add(uint32_t dev_id, uint32_t dev_type, uint32_t access_type, uint64_t pcie_addr, uint64_t riscv_addr,
                     uint64_t dma_vir_addr, uint64_t dma_phy_addr, dpp_dev_write_fun p_pcie_write_fun,
                     dpp_dev_read_fun p_pcie_read_fun, dpp_dev_write_fun p_riscv_write_fun,
                     dpp_dev_read_fun p_riscv_read_fun) {
  DPP_DEV_CHECK_ID(dev_id);
  if (dev_mgr.is_init == 0) {
    QLIX_COMM_TRACE_ERROR("ErrorCode[ 0x%x]: Device Manager is not init!!!\n", DPP_RC_DEV_MGR_NOT_INIT);
    return DPP_RC_DEV_MGR_NOT_INIT;
  }
  if (dev_mgr.p_dev_array[dev_id] != nullptr) {
    QLIX_COMM_TRACE_ERROR("Device is added again!!!\n");
  } else {
    QLIX_COMM_CHECK_RC(object_create(dev_id), "dpp_dev_object_create");
  }
  dpp_dev_cfg& dev = *dev_mgr.p_dev_array[dev_id];
  dev = {
      .dev_id = dev_id,
      .dev_type = dev_type,
      .chip_version = 0,
      .access_type = access_type,
      .pcie_addr = pcie_addr,
      .riscv_addr = riscv_addr,
      .dma_vir_addr = dma_vir_addr,
      .dma_phy_addr = dma_phy_addr,
      .p_pcie_write_fun = p_pcie_write_fun != nullptr ? p_pcie_write_fun : dpp_dev_pcie_default_write,
      .p_pcie_read_fun = p_pcie_read_fun != nullptr ? p_pcie_read_fun : dpp_dev_pcie_default_read,
      .p_riscv_write_fun = p_riscv_write_fun != nullptr ? p_riscv_write_fun : dpp_dev_riscv_default_write,
      .p_riscv_read_fun = p_riscv_read_fun != nullptr ? p_riscv_read_fun : dpp_dev_riscv_default_read,
  };
  chip_version_query(dev);
  return QLIX_COMM_OK;
}

dpp_dev_cfg* dpp_dev_cfg_get(uint32_t dev_id) {
  return dev_id < DPP_DEV_MAX && dev_mgr.is_init != 0 ? dev_mgr.p_dev_array[dev_id] : nullptr;
}

dpp_dev_object* dpp_dev_object_get(uint32_t dev_id) {
  return reinterpret_cast<dpp_dev_object*>(dpp_dev_cfg_get(dev_id));
}

// NOLINTBEGIN(bugprone-macro-parentheses): neither a type nor a member takes any
/// Defines the getter that returns a value of the record, or `none` for a device that does not exist.
#define DEV_RECORD_VALUE(type, member, get, none)     \
  type get(uint32_t dev_id) {                         \
    const dpp_dev_cfg* dev = dpp_dev_cfg_get(dev_id); \
    return dev != nullptr ? dev->member : type{none}; \
  }

/// The one that stores it, or returns what is wrong.
#define DEV_RECORD_VALUE_STORED(member, get)          \
  uint32_t get(uint32_t dev_id, uint32_t* member) {   \
    DPP_DEV_CHECK_ID(dev_id);                         \
    QLIX_COMM_CHECK_POINT(member);                    \
    const dpp_dev_cfg* dev = dpp_dev_cfg_get(dev_id); \
    QLIX_COMM_CHECK_POINT(dev);                       \
    *(member) = dev->member;                          \
    return QLIX_COMM_OK;                              \
  }
// NOLINTEND(bugprone-macro-parentheses)

DEV_RECORD_VALUE(uint32_t, dev_type, dpp_dev_get_dev_type, DPP_DEV_TYPE_INVALID)
DEV_RECORD_VALUE(uint64_t, pcie_addr, dpp_dev_get_pcie_addr, 0)
DEV_RECORD_VALUE(uint64_t, riscv_addr, dpp_dev_get_riscv_addr, 0)
DEV_RECORD_VALUE(uint64_t, dma_vir_addr, dpp_dev_get_dma_vir_addr, 0)
DEV_RECORD_VALUE(uint64_t, dma_phy_addr, dpp_dev_get_dma_phy_addr, 0)
DEV_RECORD_VALUE_STORED(access_type, dpp_dev_get_access_type)
DEV_RECORD_VALUE_STORED(chip_version, dpp_dev_get_chip_version)

uint32_t dpp_dev_set_np_addr(uint32_t dev_id, uint64_t pcie_addr) {
  DPP_DEV_CHECK_ID(dev_id);
  dpp_dev_cfg* dev = dpp_dev_cfg_get(dev_id);
  QLIX_COMM_CHECK_POINT(dev);
  dev->pcie_addr = pcie_addr;
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_write_channel(uint32_t dev_id, uint32_t addr, uint32_t word_count, const uint32_t* data) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_POINT(data);
  const dpp_dev_write_fun write = hook_of(dev_id, &dpp_dev_cfg::p_pcie_write_fun, &dpp_dev_cfg::p_riscv_write_fun);
  return write != nullptr ? write(dev_id, addr, word_count, data) : DPP_RC_DEV_NOT_EXIST;
}

uint32_t dpp_dev_read_channel(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint32_t* data) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_POINT(data);
  const dpp_dev_read_fun read = hook_of(dev_id, &dpp_dev_cfg::p_pcie_read_fun, &dpp_dev_cfg::p_riscv_read_fun);
  if (read == nullptr) {
    return DPP_RC_DEV_NOT_EXIST;
  }
  if ((dpp_dev_soft_ints.load(std::memory_order_relaxed) >> dev_id & 1) != 0 &&
      soft_int_answer(dev_id, addr, word_count, data)) [[unlikely]] {
    return QLIX_COMM_OK;
  }
  return read(dev_id, addr, word_count, data);
}
