// The checksums with which driver and chip choose the place of a key: most significant bit first, initial value 0, no
// reflection, no final XOR.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qlix_comm/check.h"

inline constexpr uint32_t DPP_CRC16_POLY_NUM = 8;

/// The polynomials that a zblock can be set to, in the order of the chip's table columns.
inline constexpr uint16_t DPP_CRC16_POLY[DPP_CRC16_POLY_NUM] = {0x1021, 0x8005, 0x3D65, 0xAB47,
                                                                0x3453, 0x0357, 0x0589, 0xA02B};

/// Answer of dpp_crc16_get_idx for a polynomial that the chip does not have.
inline constexpr uint32_t DPP_CRC16_NO_IDX = 0xFFFF;

/// Polynomial of the spill and route areas in DDR.
inline constexpr uint32_t DPP_CRC32_POLY = 0x04C11DB7;

/// Table column of `polynomial`; any other value prints a range error and gives DPP_CRC16_NO_IDX.
uint32_t dpp_crc16_get_idx(uint32_t polynomial);

/// CRC-16 of `length` bytes. Only the low 16 bits are the checksum: the register is 32 bits wide and what is shifted
/// out of the low half stays in the high half. An unsupported polynomial gives DPP_CRC16_NO_IDX after the range error.
uint32_t dpp_crc16_table_lookup(const uint8_t* data, size_t length, uint32_t polynomial);

/// Checksum input of a hash key: bytes 1 ... n-1, then the low 5 bits of byte 0. key_len 0: 0x1205.
inline uint32_t dpp_hash_set_crc_key(const uint8_t* key, uint32_t key_len, uint8_t* crc_key) {
  QLIX_COMM_CHECK_POINT(key);
  QLIX_COMM_CHECK_POINT(crc_key);
  QLIX_COMM_CHECK_INDEX_LOWER(key_len, 1);
  std::memcpy(crc_key, key + 1, key_len - 1);
  crc_key[key_len - 1] = key[0] & 0x1F;
  return QLIX_COMM_OK;
}

/// CRC-32 of `length` bytes with any polynomial; length 0 gives 0.
uint32_t dpp_crc32_calc(const uint8_t* data, size_t length, uint32_t polynomial);
