// Devices: names and PCI addresses, the process-wide device record, and the mapping of BAR 0.
#pragma once

#include <cstdint>

#include "common/mmio.h"

/// A PCI address: segment in the upper 16 bits, then bus (8), device (5) and function (3).
using kxtools_sbdf = uint32_t;
inline constexpr kxtools_sbdf KXTOOLS_SBDF_NONE = 0xFFFFFFFF;

constexpr uint32_t kxtools_sbdf_segment(kxtools_sbdf sbdf) {
  return sbdf >> 16;
}
constexpr uint32_t kxtools_sbdf_bus(kxtools_sbdf sbdf) {
  return (sbdf >> 8) & 0xFF;
}
constexpr uint32_t kxtools_sbdf_device(kxtools_sbdf sbdf) {
  return (sbdf >> 3) & 0x1F;
}
constexpr uint32_t kxtools_sbdf_function(kxtools_sbdf sbdf) {
  return sbdf & 7;
}

inline constexpr const char* KXTOOLS_PCI_DEVICES = "/sys/bus/pci/devices";
inline constexpr uint64_t KXTOOLS_BAR_SIZE_MAX = 0x40000000;  ///< at most the first GiB of BAR 0 is mapped

/// The device record: copied into every command context. It owns nothing; whoever maps unmaps.
struct kxtools_dev_info {
  char sbdf[13];                ///< "%04x:%02x:%02x.%01x", empty when nothing is bound
  uint64_t bar_addr;            ///< physical start of BAR 0
  volatile uint8_t* bar_vaddr;  ///< where BAR 0 is mapped in this process; null when it is not
  uint64_t bar_size;            ///< mapped length: the BAR's, at most KXTOOLS_BAR_SIZE_MAX
};

inline kx_mmio_region kxtools_dev_bar(const kxtools_dev_info& info) {
  return {info.bar_vaddr, info.bar_vaddr == nullptr ? 0 : info.bar_size};
}

/// Reads "ssss:bb:dd.f". Returns 0 or -1.
int32_t pcie_sbdf_parse(kxtools_sbdf* sbdf, const char* text);
/// The same without a message. False leaves `sbdf` as it was.
bool kxtools_sbdf_read(const char* text, kxtools_sbdf* sbdf);
/// True for the text of a PCI address whose segment needs more than the 16 bits that a kxtools_sbdf has for it, as the
/// kernel gives to functions behind some controllers. Nothing can be done with such a function but to name it.
bool kxtools_sbdf_is_too_long(const char* text);
/// Writes the 12-character text form and its terminator into `text` (13 bytes).
void kxtools_sbdf_text(kxtools_sbdf sbdf, char (&text)[13]);

/// True for an address without its segment, "bb:dd.f", as other tools print the addresses of segment 0; no interface
/// can be called so.
bool kxtools_is_short_address(const char* word);

/// Turns a PCI address text, with or without its segment, or the name of a network interface into a PCI address.
/// Returns 0, or -1 with a message.
int32_t kxtools_dev_name2bdf(const char* name, kxtools_sbdf* sbdf);

/// What BAR 0 is mapped for.
enum class kxtools_bar_use : uint8_t {
  all,     ///< without the mapping nothing goes
  record,  ///< only for the compatibility record: a BAR that the kernel keeps for the driver is left out
};

/// Fills `info` for a function and maps its BAR 0; the caller unmaps it. Returns 0, or -1 with a message and, on
/// standard error, the reason and what helps. With `record` a BAR that the kernel lets no program map is no failure:
/// `bar_vaddr` is null, and a line on standard error says what goes unchecked.
int32_t kxtools_dev_info_set(kxtools_sbdf sbdf, kxtools_dev_info* info, kxtools_bar_use use = kxtools_bar_use::all);
int32_t kxtools_dev_mmap(const char* sbdf_text, volatile uint8_t** address, uint64_t length);
int32_t kxtools_dev_unmmap(volatile uint8_t* address, uint64_t length);

/// Says on standard error why the kernel refused to open or map the file `path` of a BAR, and what helps.
void kxtools_bar_refusal_tell(const char* sbdf_text, const char* path, int error);

/// Zeroes / copies out the process-wide record of the bound device. Return 0 or -1.
int32_t kxtools_dev_info_init();
int32_t kxtools_dev_info_get(kxtools_dev_info* info);

/// Binds a function process-wide: record and BAR 0, prompt, PCIe module. Returns 0 or -1.
int32_t kxtools_dev_bind(kxtools_sbdf sbdf);
/// Binds by name, or with a null name lets the user choose from the device list; `quit` is set when the user chose
/// none. Returns 0 or -1. End of input at the choice ends the process with status 1.
int32_t kxtools_dev_init(const char* name, bool* quit);

// BAR start and length from the sysfs file "resource" of a function, BAR index 0 to 5. Return 0, or -1 with a message.
int32_t get_bar_addr_from_sys_ext(kxtools_sbdf sbdf, uint32_t bar_index, uint64_t* address);
int32_t get_bar_size_from_sys_ext(kxtools_sbdf sbdf, uint32_t bar_index, uint64_t* size);

/// 0 when vendor and device of the function are those of a supported card function, else -1.
int32_t sbdf_valid_check(kxtools_sbdf sbdf);
/// True when the kernel knows the function and it is none of the card's: nobody reads or maps anything of it.
bool kxtools_dev_is_foreign(kxtools_sbdf sbdf);
/// Name of the driver that the function is bound to, cut to the room. False when there is none.
bool kxtools_dev_driver_get(const char* sbdf_text, char (&name)[64]);
/// True for a vendor and device pair of a supported card function.
bool kxtools_dev_is_supported(uint32_t vendor, uint32_t device);
/// True for the card's own PCIe switch, which is listed but cannot be bound.
bool kxtools_dev_is_switch(uint32_t vendor, uint32_t device);
/// The "tool may bind" column of the first row of the supported-function table with that pair, else 0.
uint32_t is_tools_bind_pf(uint32_t vendor, uint32_t device);

/// What the device choice needs of the PCIe module, which lies above this folder; set by the program entry.
struct kxtools_dev_pcie_ops {
  int32_t (*device_list_print)();                                  ///< bind_pcie_dev_help
  int32_t (*sbdf_by_node_id)(uint32_t index, kxtools_sbdf* sbdf);  ///< get_sbdf_by_node_id
  int32_t (*bind)(kxtools_sbdf sbdf);                              ///< bind_pcie_dev_by_sbdf
};
void kxtools_dev_pcie_ops_set(const kxtools_dev_pcie_ops* ops);
