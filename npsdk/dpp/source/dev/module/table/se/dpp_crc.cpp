#include "dpp_se/dpp_crc.h"

#include <array>

#include "qlix_comm/check.h"

// Eight bytes are folded per step: row k of a table holds what a byte leaves behind after k further zero bytes. The
// tables are made by the compiler and lie in read-only memory.

namespace {

constexpr size_t SLICES = 8;

template <typename Word>
using slice_table = std::array<std::array<Word, 256>, SLICES>;

template <typename Word>
constexpr Word step_bits(Word crc, Word polynomial, int bits) {
  constexpr Word TOP = static_cast<Word>(Word{1} << (sizeof(Word) * 8 - 1));
  for (int i = 0; i < bits; i++) {
    const bool carry = (crc & TOP) != 0;
    crc = static_cast<Word>(static_cast<Word>(crc << 1) ^ (carry ? polynomial : Word{0}));
  }
  return crc;
}

template <typename Word>
constexpr slice_table<Word> make_slices(Word polynomial) {
  constexpr int SHIFT = static_cast<int>(sizeof(Word) * 8 - 8);
  slice_table<Word> table{};
  for (uint32_t byte = 0; byte < 256; byte++) {
    table[0][byte] = step_bits(static_cast<Word>(static_cast<Word>(byte) << SHIFT), polynomial, 8);
  }
  for (size_t k = 1; k < SLICES; k++) {
    for (uint32_t byte = 0; byte < 256; byte++) {
      const Word before = table[k - 1][byte];
      table[k][byte] = static_cast<Word>(static_cast<Word>(before << 8) ^ table[0][before >> SHIFT]);
    }
  }
  return table;
}

constexpr std::array<slice_table<uint16_t>, DPP_CRC16_POLY_NUM> make_crc16_tables() {
  std::array<slice_table<uint16_t>, DPP_CRC16_POLY_NUM> tables{};
  for (size_t i = 0; i < DPP_CRC16_POLY_NUM; i++) {
    tables[i] = make_slices<uint16_t>(DPP_CRC16_POLY[i]);
  }
  return tables;
}

constexpr std::array<slice_table<uint16_t>, DPP_CRC16_POLY_NUM> CRC16_TABLES = make_crc16_tables();
constexpr slice_table<uint32_t> CRC32_TABLE = make_slices<uint32_t>(DPP_CRC32_POLY);

template <size_t Count, typename Word>
inline Word fold_tail(const slice_table<Word>& table, Word crc, const uint8_t* data) {
  // The bytes of the register meet the first bytes of the data; all look-ups are independent of each other.
  Word result = Count < sizeof(Word) ? static_cast<Word>(static_cast<uint64_t>(crc) << (8 * Count)) : Word{0};
  for (size_t i = 0; i < Count; i++) {
    const uint32_t shift = static_cast<uint32_t>(8 * (sizeof(Word) - 1 - i));
    const uint8_t from_register = i < sizeof(Word) ? static_cast<uint8_t>(crc >> shift) : uint8_t{0};
    result = static_cast<Word>(result ^ table[Count - 1 - i][data[i] ^ from_register]);
  }
  return result;
}

template <typename Word>
inline Word fold(const slice_table<Word>& table, Word crc, const uint8_t* data, size_t length) {
  for (; length >= SLICES; length -= SLICES, data += SLICES) {
    crc = fold_tail<SLICES>(table, crc, data);
  }
  switch (length) {
    case 1:
      return fold_tail<1>(table, crc, data);
    case 2:
      return fold_tail<2>(table, crc, data);
    case 3:
      return fold_tail<3>(table, crc, data);
    case 4:
      return fold_tail<4>(table, crc, data);
    case 5:
      return fold_tail<5>(table, crc, data);
    case 6:
      return fold_tail<6>(table, crc, data);
    case 7:
      return fold_tail<7>(table, crc, data);
    default:
      return crc;
  }
}

// A polynomial without a table of its own: a table of one nibble, made for the call.
uint32_t fold_nibbles(uint32_t polynomial, const uint8_t* data, size_t length) {
  uint32_t table[16];
  for (uint32_t nibble = 0; nibble < 16; nibble++) {
    table[nibble] = step_bits<uint32_t>(nibble << 28, polynomial, 4);
  }
  uint32_t crc = 0;
  for (size_t i = 0; i < length; i++) {
    crc ^= static_cast<uint32_t>(data[i]) << 24;
    crc = (crc << 4) ^ table[crc >> 28];
    crc = (crc << 4) ^ table[crc >> 28];
  }
  return crc;
}

constexpr uint32_t column_of(uint32_t polynomial) {
  for (uint32_t i = 0; i < DPP_CRC16_POLY_NUM; i++) {
    if (DPP_CRC16_POLY[i] == polynomial) {
      return i;
    }
  }
  return DPP_CRC16_NO_IDX;
}

}  // namespace

uint32_t dpp_crc16_get_idx(uint32_t polynomial) {
  const uint32_t column = column_of(polynomial);
  if (column == DPP_CRC16_NO_IDX) {
    qlix_comm_detail::report_range(QLIX_COMM_HERE, QLIX_COMM_OUT_OF_RANGE, column, 0, DPP_CRC16_POLY_NUM - 1);
  }
  return column;
}

uint32_t dpp_crc16_table_lookup(const uint8_t* data, size_t length, uint32_t polynomial) {
  const uint32_t column = dpp_crc16_get_idx(polynomial);
  if (column == DPP_CRC16_NO_IDX || length == 0) {
    return column == DPP_CRC16_NO_IDX ? DPP_CRC16_NO_IDX : 0;
  }
  const slice_table<uint16_t>& table = CRC16_TABLES[column];
  // The last two bytes go through the full register: the high half that remains is theirs.
  const size_t bulk = length > 2 ? length - 2 : 0;
  uint32_t crc = fold<uint16_t>(table, 0, data, bulk);
  for (size_t i = bulk; i < length; i++) {
    crc = (crc << 8) ^ table[0][data[i] ^ ((crc >> 8) & 0xFF)];
  }
  return crc;
}

uint32_t dpp_crc32_calc(const uint8_t* data, size_t length, uint32_t polynomial) {
  return polynomial == DPP_CRC32_POLY ? fold<uint32_t>(CRC32_TABLE, 0, data, length)
                                      : fold_nibbles(polynomial, data, length);
}
