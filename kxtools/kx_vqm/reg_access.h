// Registers of the queue engine, in card memory: words of 32 bits, and the halves and pairs of them that the engine's
// 16-bit and 64-bit registers are.
#pragma once

#include <cstdint>

/// What the first register holds when the newer register layout is in the card.
inline constexpr uint32_t VQM_NEW_VERSION = 0x20250129;

/// Reads a register of 16, 32 or 64 bits (kx_pcie/card_register.h). All ones of its width after a failure, with a
/// message.
uint64_t vqm_reg_read(uint64_t address, uint32_t width);
/// Writes one. Returns 0, or -1 with a message.
int32_t vqm_reg_write(uint64_t address, uint32_t width, uint64_t value);

// The same by width.
inline uint16_t vqm_reg_read_16(uint64_t address) {
  return static_cast<uint16_t>(vqm_reg_read(address, 16));
}
inline uint32_t vqm_reg_read_32(uint64_t address) {
  return static_cast<uint32_t>(vqm_reg_read(address, 32));
}
inline uint64_t vqm_reg_read_64(uint64_t address) {
  return vqm_reg_read(address, 64);
}
inline int32_t vqm_reg_write_16(uint64_t address, uint16_t value) {
  return vqm_reg_write(address, 16, value);
}
inline int32_t vqm_reg_write_32(uint64_t address, uint32_t value) {
  return vqm_reg_write(address, 32, value);
}
inline int32_t vqm_reg_write_64(uint64_t address, uint64_t value) {
  return vqm_reg_write(address, 64, value);
}

/// Accesses that have failed since the process began: who reads many registers stops when the number grows.
uint32_t vqm_reg_failures();

/// 1 when the bound card has the newer register layout, else 0.
uint32_t vqm_new_get();
