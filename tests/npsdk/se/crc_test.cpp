#include "dpp_se/dpp_crc.h"

#include <gtest/gtest.h>

#include <random>
#include <string_view>
#include <vector>

namespace {

uint32_t of(std::string_view text, uint32_t polynomial) {
  return dpp_crc16_table_lookup(reinterpret_cast<const uint8_t*>(text.data()), text.size(), polynomial);
}

// The register as the definition has it: one bit at a time below bit 16, and nothing cleared above.
uint32_t crc16_model(const std::vector<uint8_t>& data, uint32_t polynomial) {
  uint32_t reg = 0;
  for (const uint8_t byte : data) {
    uint32_t remainder = ((byte ^ (reg >> 8)) & 0xFF) << 8;
    for (int i = 0; i < 8; i++) {
      remainder = (remainder & 0x8000) != 0 ? (remainder << 1 ^ polynomial) & 0xFFFF : remainder << 1;
    }
    reg = reg << 8 ^ remainder;
  }
  return reg;
}

uint32_t crc32_model(const std::vector<uint8_t>& data, uint32_t polynomial) {
  uint32_t crc = 0;
  for (const uint8_t byte : data) {
    crc ^= static_cast<uint32_t>(byte) << 24;
    for (int i = 0; i < 8; i++) {
      crc = (crc & 0x80000000u) != 0 ? crc << 1 ^ polynomial : crc << 1;
    }
  }
  return crc;
}

std::vector<uint8_t> random_bytes(std::mt19937& rng, size_t length) {
  std::vector<uint8_t> data(length);
  for (uint8_t& byte : data) {
    byte = static_cast<uint8_t>(rng());
  }
  return data;
}

TEST(Crc16, PublishedCheckValues) {
  const struct {
    uint32_t polynomial;
    uint32_t check;
  } rows[] = {{0x1021, 0x31C3}, {0x8005, 0xFEE8}, {0x3D65, 0xC2B7 ^ 0xFFFF}, {0x0589, 0x007F}};
  for (const auto& row : rows) {
    EXPECT_EQ(of("123456789", row.polynomial) & 0xFFFF, row.check) << std::hex << row.polynomial;
  }
}

TEST(Crc16, KeepsTheWholeRegister) {
  const uint8_t data[] = {0x01, 0x00};
  EXPECT_EQ(dpp_crc16_table_lookup(data, 1, 0x1021), 0x1021u);
  EXPECT_EQ(dpp_crc16_table_lookup(data, 2, 0x1021), 0x103331u);
}

TEST(Crc16, AgreesWithTheBitwiseModelForEveryPolynomialAndLength) {
  std::mt19937 rng(16);
  for (const uint16_t polynomial : DPP_CRC16_POLY) {
    for (size_t length = 0; length < 70; length++) {
      const std::vector<uint8_t> data = random_bytes(rng, length);
      EXPECT_EQ(dpp_crc16_table_lookup(data.data(), length, polynomial), crc16_model(data, polynomial))
          << std::hex << polynomial << " length " << length;
    }
  }
}

TEST(Crc16, ColumnsFollowTheChip) {
  for (uint32_t column = 0; column < DPP_CRC16_POLY_NUM; column++) {
    EXPECT_EQ(dpp_crc16_get_idx(DPP_CRC16_POLY[column]), column);
  }
  testing::internal::CaptureStdout();
  EXPECT_EQ(dpp_crc16_get_idx(0x8BB7), DPP_CRC16_NO_IDX);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("INVALID] [min=0x0,max=0x7] ! FUNCTION :dpp_crc16_get_idx"),
            std::string::npos);
  EXPECT_EQ(of("1", 0x11021), DPP_CRC16_NO_IDX);
}

TEST(Crc32, PublishedCheckValues) {
  const std::string_view text = "123456789";
  const auto* data = reinterpret_cast<const uint8_t*>(text.data());
  EXPECT_EQ(dpp_crc32_calc(data, text.size(), 0x04C11DB7), 0x765E7680u ^ 0xFFFFFFFFu);
  EXPECT_EQ(dpp_crc32_calc(data, text.size(), 0x814141AB), 0x3010BF7Fu);
  EXPECT_EQ(dpp_crc32_calc(data, 0, 0x04C11DB7), 0u);
}

TEST(Crc32, AgreesWithTheBitwiseModelForAnyPolynomial) {
  std::mt19937 rng(32);
  for (size_t length = 0; length < 70; length++) {
    const std::vector<uint8_t> data = random_bytes(rng, length);
    for (const uint32_t polynomial : {DPP_CRC32_POLY, 0x1EDC6F41u, static_cast<uint32_t>(rng())}) {
      EXPECT_EQ(dpp_crc32_calc(data.data(), length, polynomial), crc32_model(data, polynomial)) << "length " << length;
    }
  }
}

}  // namespace
