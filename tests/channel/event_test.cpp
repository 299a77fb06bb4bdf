// The notice table and the classes of device words.
#include "channel/event.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "channel/device.h"

namespace {

std::string heard;

TEST(Event, OpCodesReachTheirKindOfCallback) {
  kxtool_recv_cb_set([](const uint8_t*, uint32_t) { heard += 'r'; });
  kxtool_log_data_cb_set([](const uint8_t*, uint32_t) { heard += 'd'; });
  kxtool_log_finish_cb_set([](const uint8_t*, uint32_t) { heard += 'f'; });
  std::string table;
  for (uint32_t op = 0; op < 300; ++op) {
    heard = "";
    uint32_t found = 1;
    const bool known = kxtool_event_dispatch(reinterpret_cast<const uint8_t*>(&op), sizeof op, &found);
    EXPECT_EQ(found, op);
    EXPECT_EQ(known, !heard.empty());
    table += known ? std::to_string(op) + heard + " " : "";
  }
  EXPECT_EQ(table, "1d 2r 3r 4r 5r 7r 10r 11f 14r 17r ");
  kxtool_recv_cb_set(nullptr);
  kxtool_log_data_cb_set(nullptr);
  kxtool_log_finish_cb_set(nullptr);
  heard = "";
  const uint8_t notice[] = {2, 0, 0, 0};
  uint32_t op_code = 0;
  EXPECT_TRUE(kxtool_event_dispatch(notice, 4, &op_code));
  EXPECT_FALSE(kxtool_event_dispatch(notice, 3, &op_code));
  EXPECT_EQ(heard, "");
}

TEST(DeviceWord, ClassIsFoundFromColonsAndDots) {
  const std::pair<const char*, int> cases[] = {
      {"eth0", 1},   {"enp59s0f1np1", 1}, {"0000:3b:00.0", 2},   {"a:b:c.d", 2},        {"::.", 2}, {"3b:00", 0},
      {"eth0.1", 0}, {"0000:3b:00", 0},   {"0000:3b:00.0.1", 0}, {"0000:3b:00:0.1", 0}, {"", 0},    {"a:b", 0},
  };
  for (const auto& [word, mode] : cases) {
    EXPECT_EQ(kxtool_bdf_or_nic_type(word), mode) << word;
  }
}

}  // namespace
