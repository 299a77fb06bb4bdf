// Table entries through a queue, on a chip that executes table commands.

#include <functional>
#include <string>
#include <vector>

#include "../diag/command.h"
#include "../dtb/fake_chip.h"
#include "dpp_diag/dpp_work.h"
#include "dpp_dtb/dpp_dtb_cfg.h"

namespace {

using diag_test::command;
using diag_test::run_result;
using diag_test::text;

constexpr uint32_t dev = DEV;
constexpr uint32_t queue = 9;

class CommandsThroughAQueue : public testing::Test {
 protected:
  static constexpr uint32_t form_word = 0x502008;
  CommandsThroughAQueue() {
    chip.registers[form_word] = 0x4b584431;  // it states which dump commands it takes
    chip.queue_init(queue);
  }
  fake_chip chip;
};

TEST_F(CommandsThroughAQueue, EntriesOfERamAreWrittenAndReadBack) {
  text("diag_dpp_dtb_smmu0_write_128", {dev, queue, 0x7FFFF, 1, 2, 3, 4});
  EXPECT_EQ(chip.tables.eram(0x7FFFF), (vcard::TableLine{1, 2, 3, 4}));
  text("diag_dpp_dtb_smmu0_write_64", {dev, queue, 0xFFFFF, 0x33, 0x44});
  EXPECT_EQ(text("diag_dpp_dtb_smmu0_read_128", {dev, queue, 0x7FFFF}),
            "smmu0-0x7ffff: 0x00000001 0x00000002 0x00000033 0x00000044\n");
  EXPECT_TRUE(chip.bells.back().dump);
}

TEST_F(CommandsThroughAQueue, DdrIsReadInThreeWidths) {
  for (uint32_t i = 0; i < 8; ++i) {
    chip.tables.ddr(0x30 * 256 + i) = {i, 0, 0, 0x100 + i};
  }
  EXPECT_EQ(text("diag_dpp_dtb_smmu1_read_128", {dev, queue, 0x30, 5}),
            "smmu1-0x00005: 0x00000005 0x00000000 0x00000000 0x00000105\n");
  const std::string second =
      "smmu1-0x00001[0]: 0x00000002 0x00000000 0x00000000 0x00000102\n"
      "smmu1-0x00001[1]: 0x00000003 0x00000000 0x00000000 0x00000103\n";
  EXPECT_EQ(text("diag_dpp_dtb_smmu1_read_256", {dev, queue, 0x30, 1}), second);
  EXPECT_NE(text("diag_dpp_dtb_smmu1_read_512", {dev, queue, 0x30, 1}).find("0x00000107\n"), std::string::npos);
  // Entry 0 of 512 bits, its bytes from 32 on, read as 256 bits.
  EXPECT_EQ(text("diag_dpp_dtb_ddr_dir_table_read", {dev, queue, 0x30, 2, 2, 0, 32}), second);
  EXPECT_EQ(text("diag_dpp_dtb_ddr_dir_table_read", {dev, queue, 0x30, 1, 2, 1, 16}),
            "smmu1-0x00005: 0x00000005 0x00000000 0x00000000 0x00000105\n");
}

TEST_F(CommandsThroughAQueue, CountersAreFoundInERamAndBehindItInDdr) {
  chip.registers[0x200000] = 0x40000;  // base and depth in eRAM, base in DDR
  chip.registers[0x200004] = 0x10;
  chip.registers[0x200008] = 0x1234;
  chip.tables.eram(0x40001) = {1, 2, 3, 4};
  chip.tables.ddr(0x1235) = {5, 6, 7, 8};
  EXPECT_EQ(text("diag_dpp_dtb_stat_smmu0_read", {dev, queue, 3}),
            "stat index[0x00000003] value[0x00000003,0x00000004]\n");
  EXPECT_EQ(text("diag_dpp_dtb_stat_smmu1_read", {dev, queue, 0x22}),
            "stat index[0x00000022] value[0x00000005,0x00000006]\n");
  EXPECT_EQ(command("diag_dpp_dtb_stat_smmu0_read", {dev, queue, 0x20}).code, 0x1205u);
  EXPECT_EQ(command("diag_dpp_dtb_stat_smmu1_read", {dev, queue, 0x1F}).code, 0x1205u);
}

TEST_F(CommandsThroughAQueue, HashAndTernaryMemoryAreReadInWholeEntries) {
  chip.tables.zcam(17u << 11 | 2u << 9 | 300) = {0xA, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF};
  const std::string item = text("diag_dpp_dtb_zcam_read", {dev, queue, 17, 2, 300});
  EXPECT_EQ(item.find("zcam-0x08d2c[0]: 0x0000000a "), 0u) << item;
  EXPECT_NE(item.find("0x0000000f\n"), std::string::npos);
  EXPECT_EQ(text("diag_dpp_dtb_se_alg_read512", {dev, queue, 0x8D2C}), item);
  chip.tables.zblock_register(0x8810) = {7};
  EXPECT_EQ(text("diag_dpp_dtb_se_alg_read512", {dev, queue, 0x18810}).find("zblock_reg-0x08810[0]: 0x00000007 "), 0u);
  vcard::EtcamRow& row = chip.tables.etcam(6, 500);
  row.data[79] = 0x55;
  row.mask[0] = 0x66;
  row.valid = 0x81;
  const std::string ternary = text("diag_dpp_dtb_etcam_entry_read", {dev, queue, 6, 500});
  EXPECT_EQ(ternary.find("block-6 row-500 vbit: 0x81\ndata-0x001f4[0]: 0x00000000 "), 0u) << ternary;
  EXPECT_NE(ternary.find("0x00000055\nmask-0x001f4[0]: 0x66000000 "), std::string::npos) << ternary;
}

TEST_F(CommandsThroughAQueue, FlushClearsWhatItIsToldAndNothingBesides) {
  const uint32_t first = 0xFF;
  const uint32_t num = 300;  // more than one block holds
  for (const uint32_t at : {first - 1, first, first + num - 1, first + num}) {
    chip.tables.eram(at) = {1};
    chip.tables.ddr(at) = {1};
    chip.tables.zcam(at) = {1};
    chip.tables.etcam(at / 512, at % 512) = {{1}, {1}, 0xFF};
  }
  const char* names[] = {"smmu0", "smmu1", "zcam", "etcam"};
  for (uint32_t table = 0; table < 4; ++table) {
    EXPECT_EQ(text("dpp_dtb_table_flush", {dev, queue, table, first, num}),
              std::string(names[table]) + ": entries 0xff to 0x22a are cleared\n");
  }
  for (const uint32_t at : {first, first + num - 1}) {
    EXPECT_EQ(chip.tables.eram(at)[0] + chip.tables.ddr(at)[0] + chip.tables.zcam(at)[0], 0u) << at;
    const vcard::EtcamRow& row = chip.tables.etcam(at / 512, at % 512);
    EXPECT_EQ(row.data[0] + row.mask[0] + row.valid, 0) << at;
  }
  for (const uint32_t at : {first - 1, first + num}) {
    EXPECT_EQ(chip.tables.eram(at)[0] + chip.tables.ddr(at)[0] + chip.tables.zcam(at)[0], 3u) << at;
    EXPECT_EQ(chip.tables.etcam(at / 512, at % 512).valid, 0xFF) << at;
  }
}

// Whatever ends a flush, it says how far it got and leaves the queue as it found it.
TEST_F(CommandsThroughAQueue, FlushCanBeInterruptedAndStopsAtARefusal) {
  static bool interrupt;
  static std::vector<std::string> shown;
  static constexpr dpp_work_hooks hooks = {[] { interrupt = false; }, [] { return interrupt; },
                                           [] { shown.push_back("end"); },
                                           [](const char* line) { shown.push_back(line == nullptr ? "" : line); }};
  dpp_work_hooks_set(&hooks);
  constexpr uint32_t all_of_ddr = 1u << 28;
  const struct {
    std::function<void(const doorbell&)> third_block;
    uint32_t code;
    std::string line;
  } rows[] = {
      {[&](const doorbell& bell) {
         interrupt = true;
         chip.execute(bell);
       },
       0x614, "smmu1: interrupted, 0x17e of 0x10000000 entries from 0x0 on are cleared\n"},
      {[&](const doorbell& bell) { chip.complete(bell, 0x5A5A5A04); }, 0x5A5A5A04,
       "smmu1: stopped, 0xfe of 0x10000000 entries from 0x0 on are cleared\n"},
  };
  for (const auto& row : rows) {
    chip.bells.clear();
    chip.tables.ddr(380) = {1};
    chip.tables.ddr(400) = {1};
    chip.on_doorbell = [&](const doorbell& bell) {
      chip.bells.size() < 3 ? chip.execute(bell) : row.third_block(bell);
    };
    const run_result flushed = command("dpp_dtb_table_flush", {dev, queue, 1, 0, all_of_ddr});
    EXPECT_EQ(flushed.code, row.code);
    EXPECT_NE(flushed.out.find(row.line), std::string::npos) << flushed.out;
    EXPECT_EQ(chip.tables.ddr(400)[0], 1u);
    chip.on_doorbell = [&](const doorbell& bell) { chip.execute(bell); };
    for (uint32_t i = 0; i < 2 * DPP_DTB_ITEM_NUM; ++i) {
      ASSERT_EQ(command("dpp_dtb_table_flush", {dev, queue, 1, 380, 1}).code, 0u);
    }
    EXPECT_EQ(chip.tables.ddr(380)[0], 0u);
    EXPECT_EQ(shown.front(), "smmu1: 0% cleared");
    EXPECT_EQ(std::vector(shown.end() - 2, shown.end()), (std::vector<std::string>{"", "end"}));
  }
  dpp_work_hooks_set(nullptr);
}

TEST_F(CommandsThroughAQueue, TroubleIsAnsweredWithTheQueuesOwnCodes) {
  const run_result none = command("diag_dpp_dtb_smmu0_read_128", {dev, queue + 1, 0});
  EXPECT_EQ(none.code, 0xD0Bu);
  EXPECT_NE(none.out.find("dtb queue 10 is not init.\n"), std::string::npos);
  chip.on_doorbell = [&](const doorbell& bell) { chip.complete(bell, 0x5A5A5A04); };
  EXPECT_EQ(command("diag_dpp_dtb_zcam_read", {dev, queue, 0, 0, 0}).code, 0x5A5A5A04u);
  EXPECT_EQ(command("dpp_dtb_table_flush", {dev, queue, 0, 0, 1}).code, 0x5A5A5A04u);
  dpp_dtb_dump_table_overtime_set(2);
  chip.on_doorbell = [](const doorbell&) {};
  // Every item comes back, so that the queue is not used up by a chip that does not answer.
  for (uint32_t i = 0; i < 2 * DPP_DTB_ITEM_NUM; ++i) {
    EXPECT_EQ(command("diag_dpp_dtb_smmu0_read_128", {dev, queue, 0}).code, 1u);
  }
  dpp_dtb_dump_table_overtime_set(5000000);
}

// Nothing, a form to come, a dead chip: no command may reach it.
TEST_F(CommandsThroughAQueue, NothingIsSentToAChipThatStatesNoKnownForm) {
  chip.registers[0x200004] = 0x10;  // statistics in eRAM, others in DDR
  const std::vector<uint32_t> places = {dev, queue, 0, 0, 0};
  const std::pair<const char*, std::vector<uint32_t>> reads[] = {
      {"smmu0_read_128", places},
      {"smmu1_read_128", places},
      {"smmu1_read_256", places},
      {"smmu1_read_512", places},
      {"zcam_read", places},
      {"se_alg_read512", places},
      {"stat_smmu0_read", places},
      {"etcam_entry_read", places},
      {"ddr_dir_table_read", {dev, queue, 0, 1, 1, 0, 0}},
      {"stat_smmu1_read", {dev, queue, 0x80000}},
  };
  for (const uint32_t form : {0u, 0x4b584432u, UINT32_MAX}) {
    chip.registers[form_word] = form;
    for (const auto& [name, words] : reads) {
      const run_result refused = command((std::string("diag_dpp_dtb_") + name).c_str(), words);
      EXPECT_EQ(refused.code, 0xD0Eu) << name;
      EXPECT_EQ(refused.out.find("device 3 states no dump command form that this build knows (0x"), 0u) << refused.out;
    }
    EXPECT_TRUE(chip.bells.empty());
  }
}

}  // namespace
