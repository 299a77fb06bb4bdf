// Registers of the queue engine, in card memory: words of 32 bits, and the halves and pairs of them that the engine's
// 16-bit and 64-bit registers are.
#pragma once

#include <cstdint>

/// Card addresses of the engine's windows.
struct vqm_windows {
  uint64_t bar_addr;       ///< the engine's own registers; the base that every command function gets
  uint64_t host_bar_addr;  ///< what the host sees of each virtual function
  uint64_t gdma_bar_addr;
  uint64_t vqm_gdma_bar_addr;
};
inline constexpr vqm_windows VQM_WINDOWS = {0x6208000000, 0x6209000000, 0x620DA00000, 0x620DA04000};

/// What the first register holds when the newer register layout is in the card.
inline constexpr uint32_t VQM_NEW_VERSION = 0x20250129;

// Reads give all ones after a failure, with a message. A 16-bit register whose address is no multiple of 4 is the upper
// half of the word at `address` - 2. Of a 64-bit register the low word is read and written first.
uint32_t vqm_reg_read_32(uint64_t address);
uint16_t vqm_reg_read_16(uint64_t address);
uint64_t vqm_reg_read_64(uint64_t address);

// Writes return 0, or -1 with a message. A 16-bit write leaves the other half of the word as it is.
int32_t vqm_reg_write_32(uint64_t address, uint32_t value);
int32_t vqm_reg_write_16(uint64_t address, uint16_t value);
int32_t vqm_reg_write_64(uint64_t address, uint64_t value);

/// Accesses that have failed since the process began: who reads many registers stops when the number grows.
uint32_t vqm_reg_failures();

/// 1 when the bound card has the newer register layout, else 0.
uint32_t vqm_new_get();
