// Compatibility: what is read from the card, and which commands it lets run.
#include "device/compat.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "../printed.h"
#include "test_tree.h"

namespace {

TEST(Compatibility, ReadsRecordsAndTheUnalignedFeatureWord) {
  alignas(8) static uint8_t memory[0x5450];
  for (size_t i = 0; i < sizeof memory; i++) {
    memory[i] = static_cast<uint8_t>(i * 7 + (i >> 8));
  }
  const uint8_t record_bytes[8] = {10, 1, 2, 3, 4, 5, 6, 7};
  memcpy(memory + 0x5400 + 9 * 8, record_bytes, 8);
  const kx_mmio_region bar = {memory, sizeof memory};
  kxtools_compat_record record = {};
  EXPECT_EQ(kxtools_compat_version_read(9, &bar, &record), 0);
  EXPECT_EQ(memcmp(&record, record_bytes, 8), 0);

  uint32_t flag = 0;
  EXPECT_EQ(kxtools_compat_version_if_exist(9, &bar, &flag), 0);
  EXPECT_EQ(flag, 1u);
  memory[0x5400 + 9 * 8] = 9;
  EXPECT_EQ(kxtools_compat_version_if_exist(9, &bar, &flag), 0);
  EXPECT_EQ(flag, 0u);

  const uint8_t feature_bytes[8] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
  memcpy(memory + 0x1006, feature_bytes, 8);
  uint64_t word = 0;
  EXPECT_EQ(kxtools_fw_feature_read(&bar, &word), 0);
  EXPECT_EQ(word, 0x8877665544332211u);
}

TEST(Compatibility, RefusesWhatIsNotThere) {
  alignas(8) static uint8_t memory[0x5408];
  const kx_mmio_region record_0_only = {memory, sizeof memory};
  const kx_mmio_region feature_cut = {memory, 0x100C};
  const kx_mmio_region unmapped = {};
  kxtools_compat_record record = {};
  uint32_t flag = 0;
  uint64_t word = 0;
  testing::internal::CaptureStdout();
  EXPECT_EQ(kxtools_compat_version_read(0, &record_0_only, &record), 0);
  EXPECT_EQ(kxtools_compat_version_read(1, &record_0_only, &record), -1);
  EXPECT_EQ(kxtools_compat_version_if_exist(1, &record_0_only, &flag), -1);
  EXPECT_EQ(kxtools_compat_version_read(10, &record_0_only, &record), -1);
  EXPECT_EQ(kxtools_compat_version_read(0, &unmapped, &record), -1);
  EXPECT_EQ(kxtools_fw_feature_read(&feature_cut, &word), -1);
  EXPECT_EQ(kxtools_compat_version_init(), -1);
  EXPECT_EQ(
      without_line_numbers(testing::internal::GetCapturedStdout()),
      "kxtools_err: [kxtools_compat_version_read][#] BAR 0 of 0x5408 bytes does not hold compatibility record 1!\n"
      "kxtools_err: [kxtools_compat_version_read][#] BAR 0 of 0x5408 bytes does not hold compatibility record 1!\n"
      "kxtools_err: [kxtools_compat_version_if_exist][#] compat_id 1 invalid, max value is 10!\n"
      "kxtools_err: [kxtools_compat_version_read][#] compat_id 10 invalid, max value is 10!\n"
      "kxtools_err: [kxtools_compat_version_read][#] point is NULL!\n"
      "kxtools_err: [kxtools_fw_feature_read][#] BAR 0 of 0x100c bytes does not hold the feature word!\n"
      "kxtools_err: [kxtools_compat_version_read][#] point is NULL!\n"
      "kxtools_err: [kxtools_compat_version_init][#] kxtools_compat_version_get failed!\n");
}

// One row a rule: the command's three numbers against the record of its module (kxnp, id 3).
TEST(Compatibility, GateComparesTheCommandWithItsModulesRecord) {
  const struct {
    uint8_t command[3];
    kxtools_compat_record record;
    const char* said;  // null: may run
  } cases[] = {
      {{0, 0, 0}, {4, 0, 0, 0}, nullptr},
      {{0, 0, 0}, {4, 0, 3, 0}, nullptr},
      {{0, 3, 0}, {4, 0, 3, 0}, nullptr},
      {{0, 0, 5}, {4, 0, 0, 5}, nullptr},
      {{0, 0, 6}, {4, 0, 0, 5}, nullptr},
      {{2, 0, 0}, {4, 2, 0, 0}, nullptr},
      {{255, 255, 255}, {0, 9, 0, 255}, nullptr},
      {{255, 255, 0}, {4, 0, 0, 0}, "cmd major 255 is not match fw 0!"},
      {{0, 0, 0}, {0, 0, 0, 0}, "cmd item 4 is not match fw 0!"},
      {{0, 0, 0}, {3, 9, 0, 9}, "cmd item 4 is not match fw 3!"},
      {{0, 0, 0}, {255, 255, 255, 255}, "cmd item 4 is not match fw 255!"},
      {{0, 9, 0}, {4, 1, 3, 9}, "cmd major 0 is not match fw 1!"},
      {{1, 0, 0}, {4, 0, 0, 0}, "cmd major 1 is not match fw 0!"},
      {{0, 4, 0}, {4, 0, 3, 9}, "cmd fw_minor 4 is higher than fw 3!"},
      {{0, 0, 0}, {4, 0, 0, 1}, "cmd drv_minor 0 is lower than fw 1!"},
  };
  test_tree_reset();
  for (const auto& c : cases) {
    const kxtools_cmd_entry entry = {"x", nullptr, nullptr, 0, c.command[0], c.command[1], c.command[2], 0, nullptr};
    ASSERT_EQ(kxtools_cmd_register(KXTOOLS_MODULE_KXNP, &entry, 1), 0);
    kxtools_cmd_context ctx = {};
    ctx.cmd = &entry;
    ctx.compat[KXTOOLS_COMPAT_KXNP] = c.record;
    EXPECT_EQ(without_line_numbers(
                  printed([&] { EXPECT_EQ(kxtools_compat_version_check(&ctx), c.said == nullptr ? 0 : -1); })),
              c.said == nullptr ? "" : "kxtools_err: [kxtools_compat_version_check][#] " + std::string(c.said) + "\n");
  }
  test_tree_reset();
}

TEST(Compatibility, EveryModuleHasItsOwnRecord) {
  const uint32_t id_by_module[] = {1, 3, 6, 5, 4, 2, 0};
  for (uint32_t module = 0; module < std::size(id_by_module); module++) {
    const kxtools_cmd_entry entry = {"x", nullptr, nullptr, 0, 7, 0, 0, 0, nullptr};
    ASSERT_EQ(kxtools_cmd_register(module, &entry, 1), 0);
    kxtools_cmd_context ctx = {};
    ctx.cmd = &entry;
    ctx.compat[id_by_module[module]] = {.item = static_cast<uint8_t>(id_by_module[module] + 1), .major = 7};
    EXPECT_EQ(kxtools_compat_version_check(&ctx), 0) << module;
    ASSERT_EQ(kxtools_cmd_register(module, nullptr, 0), 0);
  }
  test_tree_reset();
}

}  // namespace
