// Devices of the network-processor driver: the device manager, one record for each device number, and the channels
// through which every word reaches the card. Device numbers run from 0 to DPP_DEV_MAX - 1; every operation refuses a
// larger one with 0x1205. Operations return 0 or a code of the common library unless they say otherwise.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_DEV_MAX = 16;

/// Device types: what stands behind the device number.
inline constexpr uint32_t DPP_DEV_TYPE_NONE = 0;     ///< no hardware: work for it is prepared and not started
inline constexpr uint32_t DPP_DEV_TYPE_MODEL = 1;    ///< a model that answers register accesses
inline constexpr uint32_t DPP_DEV_TYPE_CHIP = 2;     ///< the card
inline constexpr uint32_t DPP_DEV_TYPE_INVALID = 5;  ///< answer for a device that does not exist

inline constexpr uint32_t DPP_DEV_ACCESS_TYPE_PCIE = 0;   ///< through the register window in the BAR
inline constexpr uint32_t DPP_DEV_ACCESS_TYPE_RISCV = 1;  ///< through the management processor's window

inline constexpr uint32_t DPP_RC_DEV_NOT_EXIST = 1;         ///< channel: no such device, or its access type is unknown
inline constexpr uint32_t DPP_RC_DEV_MGR_NOT_INIT = 0x607;  ///< the device manager has not been initialised
inline constexpr uint32_t DPP_RC_DEV_FW_MISMATCH = 0x608;   ///< the firmware's interface is not the driver's

/// Raw access hooks: move `word_count` 32-bit words between `data` and the device, from `addr` upwards. `addr` is
/// a byte offset into the register space. Return 0 or a code, which the channel hands up unchanged.
using dpp_dev_write_fun = uint32_t (*)(uint32_t dev_id, uint32_t addr, uint32_t word_count, const uint32_t* data);
using dpp_dev_read_fun = uint32_t (*)(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint32_t* data);

/// The device record. It stays where it is until the process ends; dpp_dev_add refills it.
struct dpp_dev_cfg {
  uint32_t dev_id;
  uint32_t dev_type;
  uint32_t chip_version;  ///< from the chip when dev_type is below 2, else 0
  uint32_t access_type;
  uint64_t pcie_addr;     ///< virtual address of register 0 in the mapped BAR
  uint64_t riscv_addr;    ///< base of the management processor's window
  uint64_t dma_vir_addr;  ///< memory shared with the chip, as this process sees it
  uint64_t dma_phy_addr;  ///< the same memory as the chip sees it
  dpp_dev_write_fun p_pcie_write_fun;
  dpp_dev_read_fun p_pcie_read_fun;
  dpp_dev_write_fun p_riscv_write_fun;
  dpp_dev_read_fun p_riscv_read_fun;
};

/// Process-wide; set up by the thread that initialises the driver, read by all.
struct dpp_dev_mgr {
  uint32_t device_num;
  uint32_t is_init;
  dpp_dev_cfg* p_dev_array[DPP_DEV_MAX];
};

/// Starts the device manager with no devices. A second call says so and changes nothing.
uint32_t dpp_dev_init();
/// The device manager, or null with a line when it has not been initialised.
dpp_dev_mgr* dpp_dev_mgr_get();

/// Creates the record of `dev_id` with its mutexes, or refills an existing one. Null hooks take the defaults.
uint32_t dpp_dev_add(uint32_t dev_id, uint32_t dev_type, uint32_t access_type, uint64_t pcie_addr, uint64_t riscv_addr,
                     uint64_t dma_vir_addr, uint64_t dma_phy_addr, dpp_dev_write_fun p_pcie_write_fun,
                     dpp_dev_read_fun p_pcie_read_fun, dpp_dev_write_fun p_riscv_write_fun,
                     dpp_dev_read_fun p_riscv_read_fun);
/// The record, or null when the number is above 15, the manager is not initialised or the device was never added.
dpp_dev_cfg* dpp_dev_cfg_get(uint32_t dev_id);

// Values of the record. The type is DPP_DEV_TYPE_INVALID and an address is 0 when the device does not exist.
uint32_t dpp_dev_get_dev_type(uint32_t dev_id);
uint64_t dpp_dev_get_pcie_addr(uint32_t dev_id);
uint64_t dpp_dev_get_riscv_addr(uint32_t dev_id);
uint64_t dpp_dev_get_dma_vir_addr(uint32_t dev_id);
uint64_t dpp_dev_get_dma_phy_addr(uint32_t dev_id);
uint32_t dpp_dev_get_access_type(uint32_t dev_id, uint32_t* access_type);
uint32_t dpp_dev_get_chip_version(uint32_t dev_id, uint32_t* chip_version);
/// Moves the register window of the PCIe path.
uint32_t dpp_dev_set_np_addr(uint32_t dev_id, uint64_t pcie_addr);

// The channels: every register access of the driver ends in one of these two. A missing device or an unknown access
// type prints a line and returns 1; otherwise the hook's own code comes back. A read whose address has a soft-interrupt
// value (see below) is answered from there, words after the first with 0.
uint32_t dpp_dev_write_channel(uint32_t dev_id, uint32_t addr, uint32_t word_count, const uint32_t* data);
uint32_t dpp_dev_read_channel(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint32_t* data);

// Default hooks. The absolute address is the base of the record plus `addr`; an overflow is 0x1205, a base of 0 means
// that no window is mapped and is refused with 1.
uint32_t dpp_dev_pcie_default_write(uint32_t dev_id, uint32_t addr, uint32_t word_count, const uint32_t* data);
uint32_t dpp_dev_pcie_default_read(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint32_t* data);
uint32_t dpp_dev_riscv_default_write(uint32_t dev_id, uint32_t addr, uint32_t word_count, const uint32_t* data);
uint32_t dpp_dev_riscv_default_read(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint32_t* data);

/// One aligned 32-bit access to mapped device memory.
void dpp_pci_write32(uint64_t abs_addr, uint32_t value);
uint32_t dpp_pci_read32(uint64_t abs_addr);

/// While `en` is not 0, every word written through the default PCIe hook to an address in [start, end] is echoed.
uint32_t dpp_pcie_cap_set(uint32_t en, uint32_t start, uint32_t end);

// Soft interrupts: values of interrupt registers that have been collected already, because reading them on the card
// would clear them. Each device holds up to DPP_DEV_SOFT_INT_MAX of them; they answer reads while enabled.
inline constexpr uint32_t DPP_DEV_SOFT_INT_MAX = 256;
uint32_t dpp_dev_soft_int_enable_set(uint32_t dev_id, uint32_t enable);
uint32_t dpp_dev_soft_int_enable_get(uint32_t dev_id, uint32_t* enable);
/// Stores or replaces the value for `addr`; 0x1205 when the table is full.
uint32_t dpp_dev_soft_int_add(uint32_t dev_id, uint32_t addr, uint32_t value);
uint32_t dpp_dev_soft_int_clear(uint32_t dev_id);
/// Sets `found` to 1 and `value` when the table holds `addr`, else `found` to 0.
uint32_t dpp_dev_soft_int_search(uint32_t dev_id, uint32_t addr, uint32_t* value, uint32_t* found);
