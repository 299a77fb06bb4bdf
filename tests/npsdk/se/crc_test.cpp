#include "dpp_se/dpp_crc.h"

#include <gtest/gtest.h>

#include <random>
#include <string_view>
#include <vector>

#include "../../bytes.h"
#include "../../printed.h"
#include "np_crc.h"

namespace {

uint32_t of(std::string_view text, uint32_t polynomial) {
  return dpp_crc16_table_lookup(reinterpret_cast<const uint8_t*>(text.data()), text.size(), polynomial);
}

// The chip's sixteen bits, and above them what the driver's register keeps: the high bytes of the sums so far.
uint32_t whole_register(std::span<const uint8_t> data, uint32_t polynomial) {
  const auto sum = [&](size_t less) {
    return data.size() < less ? 0 : vcard::np_crc(data.first(data.size() - less), 16, polynomial);
  };
  return (sum(2) >> 8) << 24 | (sum(1) >> 8) << 16 | sum(0);
}

TEST(Crc, PublishedCheckValues) {
  const struct {
    uint32_t polynomial;
    uint32_t check;
  } rows[] = {{0x1021, 0x31C3}, {0x8005, 0xFEE8}, {0x3D65, 0xC2B7 ^ 0xFFFF}, {0x0589, 0x007F}};
  for (const auto& row : rows) {
    EXPECT_EQ(of("123456789", row.polynomial) & 0xFFFF, row.check) << std::hex << row.polynomial;
  }
  const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  EXPECT_EQ(dpp_crc32_calc(digits, sizeof digits, 0x04C11DB7), 0x765E7680u ^ 0xFFFFFFFFu);
  EXPECT_EQ(dpp_crc32_calc(digits, sizeof digits, 0x814141AB), 0x3010BF7Fu);
}

TEST(Crc16, AgreesWithTheChipForEveryPolynomialAndLength) {
  std::mt19937 rng(16);
  for (const uint16_t polynomial : DPP_CRC16_POLY) {
    for (size_t length = 0; length < 70; length++) {
      const std::vector<uint8_t> data = random_bytes(rng, length);
      EXPECT_EQ(dpp_crc16_table_lookup(data.data(), length, polynomial), whole_register(data, polynomial))
          << std::hex << polynomial << " length " << length;
    }
  }
}

TEST(Crc16, ColumnsFollowTheChip) {
  for (uint32_t column = 0; column < DPP_CRC16_POLY_NUM; column++) {
    EXPECT_EQ(dpp_crc16_get_idx(DPP_CRC16_POLY[column]), column);
  }
  caught_output refusal;
  EXPECT_EQ(of("1", 0x8BB7), DPP_CRC16_NO_IDX);
  EXPECT_NE(refusal.take().find("INVALID] [min=0x0,max=0x7] ! FUNCTION :dpp_crc16_get_idx"), std::string::npos);
}

TEST(Crc32, AgreesWithTheChipForAnyPolynomial) {
  std::mt19937 rng(32);
  for (size_t length = 0; length < 70; length++) {
    const std::vector<uint8_t> data = random_bytes(rng, length);
    for (const uint32_t polynomial : {DPP_CRC32_POLY, 0x1EDC6F41u, static_cast<uint32_t>(rng())}) {
      EXPECT_EQ(dpp_crc32_calc(data.data(), length, polynomial), vcard::np_crc(data, 32, polynomial))
          << "length " << length;
    }
  }
}

}  // namespace
