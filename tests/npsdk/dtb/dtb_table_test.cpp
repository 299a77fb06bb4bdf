#include "dpp_dtb/dpp_dtb_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../../bytes.h"
#include "dpp_dtb/dpp_dtb_cfg.h"
#include "fake_chip.h"

namespace {

/// A block of one element for the chip.
template <typename Form>
std::vector<uint8_t> block_of(const Form& form, const std::vector<uint8_t>& data = {}) {
  uint8_t cmd[DPP_DTB_CMD_BYTES];
  dpp_dtb_table_cmd_pack(form, cmd);
  std::vector<uint8_t> block(cmd, cmd + sizeof(cmd));
  block.insert(block.end(), data.begin(), data.end());
  return block;
}

// Forms of which the commands and the table managers use every field are tested with them.
TEST(DtbTable, TheChipFindsEveryFieldOfTheOtherForms) {
  vcard::NpTables tables;
  vcard::NpCommands chip(tables);
  const auto success = vcard::NpStatus::success;
  EXPECT_EQ(chip.execute(block_of(dpp_formats::dtb_ddr{1, 1, 2, 1, 1, 0xABCDE, 1, 0x0ABCDEF0}, counted_bytes(64))),
            success);
  EXPECT_EQ(tables.ddr(0xABCDE * 256 + 0x0ABCDEF3)[3], 0x3D3E3F40u);
  EXPECT_EQ(chip.execute(block_of(dpp_formats::dtb_eram_1{1, 0, 2, 1, 0, 0, 128 * 3 + 9, 1})), success);
  EXPECT_EQ(tables.eram(3)[0], 0x00400000u);
  EXPECT_EQ(chip.execute(block_of(dpp_formats::dtb_eram_1{1, 0, 2, 1, 0, 0, 128 * 3 + 9, 0})), success);
  EXPECT_EQ(tables.eram(3)[0], 0u);
  const dpp_formats::dtb_etcam etcam = {1, 3, 7, 0, 0, 1, 0, 0xFF, 0, 0x81, 1, 0x1FF, 0xA5};
  EXPECT_EQ(chip.execute(block_of(etcam, counted_bytes(80))), success);
  EXPECT_EQ(tables.etcam(7, 0x1FF).mask[79], 80);
  EXPECT_EQ(tables.etcam(7, 0x1FF).mask[10], 0);
  EXPECT_EQ(tables.etcam(7, 0x1FF).valid, 0xA5);
  EXPECT_EQ(chip.execute(block_of(dpp_formats::dtb_mc_hash{1, 4, 0x01234567, 0x89ABCDEF})), success);
  EXPECT_EQ(chip.multicast_hash(), 0x0123456789ABCDEFull);
}

TEST(DtbTable, TheChipRefusesWhatItCannotExecute) {
  using vcard::NpStatus;
  const struct {
    std::vector<uint8_t> block;
    NpStatus status;
  } rows[] = {
      {{}, NpStatus::empty},
      {std::vector<uint8_t>(8, 0xFF), NpStatus::truncated},
      {block_of(dpp_formats::dtb_eram_128{0, 0, 0, 1, 0, 0, 0}), NpStatus::not_valid},
      {block_of(dpp_formats::dtb_eram_128{1, 7, 0, 1, 0, 0, 0}), NpStatus::unknown_mode},
      {block_of(dpp_formats::dtb_eram_128{1, 0, 0, 1, 0, 0, 0}, counted_bytes(15)), NpStatus::truncated},
      {block_of(dpp_formats::dtb_eram_128{1, 0, 0, 0, 1, 0, 0}, counted_bytes(16)), NpStatus::unsupported},
      {block_of(dpp_formats::dtb_ddr{1, 1, 3, 0, 0, 0, 0, 0}, counted_bytes(64)), NpStatus::unsupported},
      {block_of(dpp_formats::dtb_zcam{1, 2, 0, 0, 0, 0, 15, 1}, counted_bytes(63)), NpStatus::truncated},
      {block_of(dpp_formats::dtb_etcam{1, 3, 0, 0, 0, 0, 0, 0, 1, 0xFF, 0, 0, 0}, counted_bytes(80)),
       NpStatus::unsupported},
  };
  vcard::NpTables tables;
  vcard::NpCommands chip(tables);
  for (const auto& row : rows) {
    EXPECT_EQ(chip.execute(row.block), row.status);
  }
}

TEST(DtbTable, ValuesAreMaskedAndTypesChecked) {
  EXPECT_EQ(block_of(dpp_formats::dtb_zcam{3, 0xFA, 3, 7, 9, 5, 0x1F, 0x3FF}),
            block_of(dpp_formats::dtb_zcam{1, 2, 1, 3, 1, 1, 0xF, 0x1FF}));
  EXPECT_STREQ(dpp_table_info_get(6)->name, "mc_hash");
  const caught_output refusals;
  EXPECT_EQ(dpp_table_info_get(7), nullptr);
}

TEST(DtbTable, EramElements) {
  const uint32_t data[] = {0x01020304, 0x05060708, 0x090A0B0C, 0x0D0E0F10};
  const struct { uint32_t mode, in_cmd, size; } rows[] = {{0, 0, 16}, {1, 1, 8}, {2, 1, 1}};
  for (const auto& row : rows) {
    dpp_dtb_entry entry;
    ASSERT_EQ(dpp_dtb_smmu0_write_entry_data(DEV, row.mode, 6, data, &entry), 0u);
    EXPECT_EQ(entry.data_in_cmd_flag, row.in_cmd);
    EXPECT_EQ(entry.data_size, row.size);
  }
  dpp_dtb_prt_enable();
  caught_output out;
  dpp_dtb_entry entry;
  EXPECT_EQ(dpp_dtb_smmu0_write_entry_data(DEV, 0, 6, data, &entry), 0u);
  const std::string lines = out.take();
  dpp_dtb_prt_disable();
  EXPECT_EQ(dpp_dtb_smmu0_write_entry_data(DEV, 0, 6, data, &entry), 0u);
  EXPECT_EQ(out.take(), "");
  EXPECT_EQ(lines.find("dpp eram form info: \nvalid"), 0u);
  EXPECT_NE(lines.find("cmd: 0x82000000  0x06000000  0x00000000  0x00000000  \ndata:0x01020304  "), std::string::npos)
      << lines;
  EXPECT_EQ(dpp_dtb_smmu0_write_entry_data(DEV, 3, 6, data, &entry), 0x1205u);
  EXPECT_EQ(dpp_dtb_smmu0_write_entry_data(DEV, 0, 6, nullptr, &entry), 0x1201u);
}

TEST(DtbTable, RowsAndColumns) {
  const struct {
    uint32_t mode, index, row, col;
  } eram[] = {{0, 300, 2, 44}, {1, 300, 0, 0}, {2, 301, 150, 1}, {3, 300, 300, 0}};
  for (const auto& row : eram) {
    uint32_t at = 9, col = 9;
    EXPECT_EQ(dtb_eram_index_cal(0, row.mode, row.index, &at, &col), 0u);
    EXPECT_EQ(at, row.row) << row.mode;
    EXPECT_EQ(col, row.col) << row.mode;
  }
  const struct {
    uint32_t index, width, ddr, offset, result;
  } ddr[] = {{10, 1, 1, 0x10, 21}, {10, 1, 1, 0xEF, 20}, {10, 2, 1, 0x30, 43}, {10, 2, 1, 0x20, 42},
             {10, 1, 2, 0xFF, 10}, {10, 2, 2, 0x20, 21}, {10, 2, 3, 0xFF, 10}, {10, 1, 3, 0, 0},
             {10, 0, 1, 0, 0},     {10, 3, 3, 0, 0},     {10, 1, 0, 0, 0}};
  for (const auto& row : ddr) {
    EXPECT_EQ(dpp_ddr_index_calc(row.index, row.width, row.ddr, row.offset), row.result) << row.width << " " << row.ddr;
  }
}

}  // namespace
