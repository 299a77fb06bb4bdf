// Bit fields against a model that moves one bit at a time.
#include "qlix_comm/bits.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "../quiet.h"

namespace {

using Random = std::independent_bits_engine<std::mt19937, 32, std::uint32_t>;

using Bytes = std::vector<std::uint8_t>;

// Bit 0 is the least significant bit of the last byte.
bool bit_get(const Bytes& bytes, std::uint32_t bit) {
  return (bytes[bytes.size() - 1 - bit / 8] >> (bit % 8) & 1) != 0;
}

void bit_set(Bytes& bytes, std::uint32_t bit, bool value) {
  std::uint8_t& byte = bytes[bytes.size() - 1 - bit / 8];
  byte = static_cast<std::uint8_t>((byte & ~(1u << (bit % 8))) | (value ? 1u : 0u) << (bit % 8));
}

using Bits = Quiet;

TEST_F(Bits, WritesAndReadsAnyFieldAsBitByBit) {
  Random random(3);
  for (int round = 0; round < 20000; ++round) {
    const std::uint32_t size = round % 4 == 0 ? 1 + random() % 512 : 1 + random() % 20;
    const std::uint32_t length = 1 + random() % std::min(32u, size * 8);
    const std::uint32_t msb = length - 1 + random() % (size * 8 - length + 1);
    const std::uint32_t value = random();
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) {
      byte = static_cast<std::uint8_t>(random());
    }
    Bytes expected = bytes;
    std::uint32_t before = 0;
    for (std::uint32_t i = 0; i < length; ++i) {
      before |= std::uint32_t{bit_get(bytes, msb - length + 1 + i)} << i;
      bit_set(expected, msb - length + 1 + i, (value >> i & 1) != 0);
    }
    std::uint32_t read = 0;
    ASSERT_EQ(qlix_comm_read_bits_ex(bytes.data(), size * 8, &read, msb, length), 0u);
    ASSERT_EQ(read, before) << "size " << size << " msb " << msb << " length " << length;
    ASSERT_EQ(qlix_comm_write_bits_ex(bytes.data(), size * 8, value, msb, length), 0u);
    ASSERT_EQ(bytes, expected) << "size " << size << " msb " << msb << " length " << length;
  }
}

TEST_F(Bits, RefusesWhatIsNoFieldAndTouchesNothing) {
  const struct {
    std::uint32_t total_bits, msb, length;
  } cases[] = {{64, 31, 0}, {64, 40, 33}, {64, 64, 1}, {64, 0xFFFFFFFF, 1}, {64, 3, 5},   {0, 0, 1},
               {61, 5, 2},  {61, 60, 4},  {24, 24, 8}, {24, 5, 7},          {64, 63, 64}, {64, 0xFFFFFFFF, 32}};
  for (const auto& c : cases) {
    Bytes bytes(8, 0x5A);
    std::uint32_t read = 77;
    EXPECT_EQ(qlix_comm_write_bits_ex(bytes.data(), c.total_bits, 0xFFFFFFFF, c.msb, c.length), 0x1205u)
        << c.total_bits << ' ' << c.msb << ' ' << c.length;
    EXPECT_EQ(qlix_comm_read_bits_ex(bytes.data(), c.total_bits, &read, c.msb, c.length), 0x1205u);
    EXPECT_EQ(bytes, Bytes(8, 0x5A));
    EXPECT_EQ(read, 77u);
  }
  std::uint32_t read = 0;
  EXPECT_EQ(qlix_comm_write_bits_ex(nullptr, 64, 1, 3, 2), 0x1201u);
  EXPECT_EQ(qlix_comm_read_bits_ex(nullptr, 64, &read, 3, 2), 0x1201u);
  EXPECT_EQ(qlix_comm_read_bits_ex(Bytes(8).data(), 64, nullptr, 3, 2), 0x1201u);
}

}  // namespace
