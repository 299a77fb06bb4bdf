// Values that a module's EEPROM holds, computed by hand from the layouts of the makers' agreements.
#include "port/module_decode.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

namespace {

using Eeprom = std::vector<uint8_t>;

void put(Eeprom* eeprom, size_t at, std::initializer_list<int> bytes) {
  for (const int byte : bytes) {
    (*eeprom)[at++] = static_cast<uint8_t>(byte);
  }
}

void put(Eeprom* eeprom, size_t at, const char* text) {
  memcpy(eeprom->data() + at, text, strlen(text));
}

Eeprom sfp() {
  Eeprom eeprom(512);
  eeprom[0] = 0x03;
  eeprom[12] = 103;
  put(&eeprom, 20, "MAKER           ");
  put(&eeprom, 92, {0x68});
  put(&eeprom, 256 + 96, {0xF9, 0x80, 0x80, 0xE8, 0x0C, 0xB2, 0x27, 0x10, 0x13, 0x88});
  return eeprom;
}

TEST(ModuleDecode, TakesTheMonitorsOfAnSfpModule) {
  module_info info;
  ASSERT_EQ(module_decode(sfp(), &info), module_decode_result::good);
  EXPECT_STREQ(info.vendor, "MAKER");
  EXPECT_EQ(info.bit_rate, 10300u);
  ASSERT_TRUE(info.has_monitors);
  EXPECT_DOUBLE_EQ(info.temperature, -6.5);  // 0xF980 / 256
  EXPECT_NEAR(info.voltage, 3.3, 1e-9);      // 33000 * 100 uV
  ASSERT_EQ(info.lane_count, 1u);
  EXPECT_NEAR(info.lanes[0].bias_ma, 6.5, 1e-9);  // 3250 * 2 uA
  EXPECT_NEAR(info.lanes[0].send_mw, 1.0, 1e-9);  // 10000 * 0.1 uW
  EXPECT_NEAR(info.lanes[0].receive_mw, 0.5, 1e-9);
}

TEST(ModuleDecode, CalibratesWhatAnSfpModuleLeavesToTheHost) {
  Eeprom eeprom = sfp();
  eeprom[92] = 0x50;
  put(&eeprom, 256 + 64, {0x40, 0x00, 0, 0});        // 2.0: receive = 2 * raw * raw ...
  put(&eeprom, 256 + 68, {0x3F, 0x00, 0, 0});        // ... + 0.5 * raw ...
  put(&eeprom, 256 + 72, {0x41, 0x20, 0, 0});        // ... + 10
  put(&eeprom, 256 + 76, {0x02, 0x00, 0x00, 0x0A});  // bias: 2 * raw + 10
  put(&eeprom, 256 + 80, {0x00, 0x80, 0xFF, 0xF6});  // send: raw / 2 - 10
  put(&eeprom, 256 + 84, {0x01, 0x00, 0x01, 0x00});  // temperature: raw + 256
  put(&eeprom, 256 + 88, {0x01, 0x80, 0x00, 0x00});  // voltage: 1.5 * raw
  put(&eeprom, 256 + 104, {0x00, 0x64});             // receive raw 100
  module_info info;
  ASSERT_EQ(module_decode(eeprom, &info), module_decode_result::good);
  EXPECT_DOUBLE_EQ(info.temperature, -5.5);
  EXPECT_NEAR(info.voltage, 4.95, 1e-9);
  EXPECT_NEAR(info.lanes[0].bias_ma, 13.02, 1e-9);
  EXPECT_NEAR(info.lanes[0].send_mw, 0.499, 1e-9);
  EXPECT_NEAR(info.lanes[0].receive_mw, 2.006, 1e-9);
  put(&eeprom, 256 + 56, {0x7F, 0xC0, 0, 0});  // no number
  put(&eeprom, 256 + 60, {0xFF, 0x7F, 0xFF, 0xFF});
  ASSERT_EQ(module_decode(eeprom, &info), module_decode_result::good);
  EXPECT_EQ(info.lanes[0].receive_mw, 0);
}

TEST(ModuleDecode, TakesTheLanesOfAQsfpModule) {
  Eeprom eeprom(256);
  eeprom[0] = 0x11;
  eeprom[128] = 0x11;
  put(&eeprom, 22, {0x26, 0x80, 0, 0, 0x7F, 0xBC});
  put(&eeprom, 34, {0, 0, 0, 10, 0, 20, 0xFF, 0xFF});
  put(&eeprom, 42, {0, 1, 0, 2, 0, 3, 0, 4});
  put(&eeprom, 50, {0, 10, 0, 20, 0, 30, 0, 40});
  put(&eeprom, 140, {255});
  put(&eeprom, 222, {103});
  put(&eeprom, 196, "SN\x01\xFF 7");
  module_info info;
  ASSERT_EQ(module_decode(eeprom, &info), module_decode_result::good);
  EXPECT_STREQ(info.kind, "QSFP28");
  EXPECT_STREQ(info.serial, "SN?? 7");
  EXPECT_EQ(info.bit_rate, 25750u);
  EXPECT_DOUBLE_EQ(info.temperature, 38.5);
  EXPECT_NEAR(info.voltage, 3.27, 1e-9);
  ASSERT_EQ(info.lane_count, 4u);
  EXPECT_EQ(info.lanes[0].receive_mw, 0);
  EXPECT_NEAR(info.lanes[3].receive_mw, 6.5535, 1e-9);
  EXPECT_NEAR(info.lanes[1].bias_ma, 0.004, 1e-12);
  EXPECT_NEAR(info.lanes[2].send_mw, 0.003, 1e-12);
  // A sum of the identity covers the bytes before its place, and each of the two counts.
  EXPECT_FALSE(info.sums_good);
  for (const auto& [first, place] : {std::pair{128, 191}, std::pair{192, 223}}) {
    for (int i = first; i < place; ++i) {
      eeprom[place] = static_cast<uint8_t>(eeprom[place] + eeprom[i]);
    }
    ASSERT_EQ(module_decode(eeprom, &info), module_decode_result::good);
    EXPECT_EQ(info.sums_good, place == 223) << place;
  }
}

TEST(ModuleDecode, FindsTheIdentityWhereEachKindKeepsIt) {
  struct {
    int identifier;
    size_t vendor, oui, part, revision, serial, date;
    const char* shown_revision;  // two characters, or four
  } const kinds[] = {
      {0x03, 20, 37, 40, 56, 68, 84, "A1B2"},
      {0x11, 148, 165, 168, 184, 196, 212, "A1"},
      {0x18, 129, 145, 148, 164, 166, 182, "A1"},
  };
  for (const auto& kind : kinds) {
    Eeprom eeprom(512, ' ');
    put(&eeprom, 0, {kind.identifier});
    put(&eeprom, kind.revision, "A1B2");
    put(&eeprom, kind.vendor, "VENDOR OF 16 CH.");
    put(&eeprom, kind.oui, {0x02, 0x1C, 0xF2});
    put(&eeprom, kind.part, "PART OF 16 CHAR.");
    put(&eeprom, kind.serial, "SERIAL OF 16 CH.");
    put(&eeprom, kind.date, "251231AB");
    module_info info;
    ASSERT_EQ(module_decode(eeprom, &info), module_decode_result::good) << kind.identifier;
    EXPECT_STREQ(info.vendor, "VENDOR OF 16 CH.");
    EXPECT_EQ(std::to_array(info.oui), (std::array<uint8_t, 3>{0x02, 0x1C, 0xF2})) << kind.identifier;
    EXPECT_STREQ(info.part, "PART OF 16 CHAR.");
    EXPECT_STREQ(info.revision, kind.shown_revision);
    EXPECT_STREQ(info.serial, "SERIAL OF 16 CH.");
    EXPECT_STREQ(info.date, "251231AB");
  }
}

TEST(ModuleDecode, RefusesWhatItCannotRead) {
  struct Row {
    int identifier;
    size_t length;
    module_decode_result result;
    bool monitors;
  };
  using enum module_decode_result;
  const Row rows[] = {
      {0x03, 0, too_short, false},
      {0x03, 95, too_short, false},
      {0x03, 96, good, false},
      {0x03, 383, good, false},
      {0x03, 384, good, true},
      {0x11, 223, too_short, false},
      {0x0D, 224, good, true},
      {0x18, 223, too_short, false},
      {0x18, 256, good, true},
      {0x00, 256, unknown_identifier, false},
      {0xFF, 512, unknown_identifier, false},
  };
  for (const Row& row : rows) {
    Eeprom eeprom(row.length, 0x40);
    if (!eeprom.empty()) {
      eeprom[0] = static_cast<uint8_t>(row.identifier);
    }
    module_info info;
    EXPECT_EQ(module_decode(eeprom, &info), row.result) << row.identifier << " " << row.length;
    EXPECT_EQ(info.has_monitors, row.monitors) << row.identifier << " " << row.length;
  }
}

}  // namespace
