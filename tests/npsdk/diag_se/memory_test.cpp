// What one command writes, the others show: eRAM, DDR, table numbers, ternary entries, hash memory.
#include "../diag_blocks/card_device.h"
#include "dpp_memory/dpp_etcam.h"
#include "dpp_memory/dpp_sdt.h"
#include "dpp_reg/dpp_reg_types.h"

namespace {

using SeMemory = CommandsOnCard;

TEST_F(SeMemory, EramEntriesOfEveryWidth) {
  text("diag_dpp_se_smmu0_wr128", {0, 0x7FFFF, 0x80000003, 0x22222222, 0xC0000001, 0x44444445});
  const struct {
    const char* name;
    uint32_t addr;
    const char* shows;
  } reads[] = {
      {"diag_dpp_se_smmu0_rd128", 0x7FFFF, "eram128[0x07ffff]: 0x80000003 0x22222222 0xc0000001 0x44444445\n"},
      {"diag_dpp_se_smmu0_rd64", 0xFFFFE, "eram64[0x0ffffe]: 0x80000003 0x22222222\n"},
      {"diag_dpp_se_smmu0_rd64", 0xFFFFF, "eram64[0x0fffff]: 0xc0000001 0x44444445\n"},
      {"diag_dpp_se_smmu0_rd32", 0x1FFFFE, "eram32[0x1ffffe]: 0xc0000001\n"},
      {"diag_dpp_se_smmu0_rd2", 0x7FFFF * 64 + 32, "eram2[0x1ffffe0]: 0x00000003\n"},
      {"diag_dpp_se_smmu0_rd1", 0x3FFFFFF, "eram1[0x3ffffff]: 0x00000001\n"},
      {"diag_dpp_se_smmu0_rd1", 0x3FFFFFE, "eram1[0x3fffffe]: 0x00000000\n"},
      {"diag_dpp_se_smmu0_rd128_clear", 0x7FFFF, "eram128[0x07ffff]: 0x80000003 0x22222222 0xc0000001 0x44444445\n"},
      {"diag_dpp_se_smmu0_rd128", 0x7FFFF, "eram128[0x07ffff]: 0x00000000 0x00000000 0x00000000 0x00000000\n"},
  };
  for (const auto& read : reads) {
    EXPECT_EQ(text(read.name, {0, read.addr}), read.shows) << read.name;
  }
}

TEST_F(SeMemory, EramWriteOf64Bits) {
  text("diag_dpp_se_smmu0_wr128", {0, 5, 1, 2, 3, 4});
  text("diag_dpp_se_smmu0_wr64", {0, 11, 1, 0xAAAA, 0xBBBB});
  EXPECT_EQ(text("diag_dpp_se_smmu0_rd128", {0, 5}),
            "eram128[0x000005]: 0x00000001 0x00000002 0x0000aaaa 0x0000bbbb\n");
  text("diag_dpp_se_smmu0_wr64", {0, 20, 2, 0x77, 0});
  EXPECT_EQ(text("diag_dpp_se_smmu0_rd32", {0, 20}), "eram32[0x000014]: 0x00000077\n");
  const run_result wrong = command("diag_dpp_se_smmu0_wr64", {0, 0, 5, 1, 1});
  EXPECT_EQ(wrong.code, 0x1205u);
  EXPECT_THAT(wrong.out, HasSubstr("!-- diag_dpp_se_smmu0_wr64 Call dpp_se_smmu0_ind_write Fail!\n"));
  EXPECT_EQ(text("diag_dpp_se_smmu0_scan", {0, 4, 3}),
            "eram128[0x000005]: 0x00000077 0x00000002 0x0000aaaa 0x0000bbbb\n1 of 3 lines are not zero\n");
}

TEST_F(SeMemory, TableNumbersShowWhatWasSet) {
  text("diag_dpp_se_eram_sdt_tbl_wr", {0, 7, 2, 0x1000, 0x200});
  EXPECT_THAT(text("dpp_sdt_eram_ddr_table_add", {0, 255, 2, 1, 0x20, 0x40}), HasSubstr("sdt 255: DDR"));
  EXPECT_EQ(text("diag_dpp_se_sdt_tbl_prt", {0, 7}),
            "sdt 7: eRAM, 0x30100000 0x00400000\n"
            "eram_mode                               : 0x00000002\n"
            "eram_base_addr                          : 0x00001000\n"
            "eram_table_depth                        : 0x00000200\n");
  const std::string ddr = text("diag_dpp_se_sdt_tbl_prt_type", {0, 2});
  EXPECT_THAT(ddr, HasSubstr("ddr_base_addr                           : 0x00000020\n"));
  EXPECT_THAT(ddr, HasSubstr("1 of 256 table numbers\n"));
  EXPECT_THAT(text("diag_dpp_se_sdt_tbl_prt_all", {0}), HasSubstr("2 of 256 table numbers\n"));
  // 0x200 entries of 64 bits take 0x100 lines.
  EXPECT_THAT(text("diag_dpp_se_sdt_info_srh", {0, 1, 0x10FF}), HasSubstr("sdt 7: eRAM"));
  EXPECT_EQ(text("diag_dpp_se_sdt_info_srh", {0, 1, 0x1100}), "0 tables of type eRAM at 0x1100\n");
  // 0x40 entries of 256 bits from unit 0x20 on.
  EXPECT_THAT(text("diag_dpp_se_sdt_info_srh", {0, 2, 0x207F}), HasSubstr("sdt 255: DDR"));
  EXPECT_EQ(text("diag_dpp_se_sdt_info_srh", {0, 2, 0x2080}), "0 tables of type DDR at 0x2080\n");
  text("diag_dpp_se_sdt_tbl_wr", {0, 7, 0, 0});
  EXPECT_THAT(text("diag_dpp_se_sdt_tbl_prt_all", {0}), HasSubstr("1 of 256 table numbers\n"));
  EXPECT_EQ(command("diag_dpp_se_eram_sdt_tbl_wr", {0, 7, 0, 0, 1u << 27}).code, 0x1205u);
  EXPECT_EQ(command("dpp_sdt_eram_ddr_table_add", {0, 7, 1, 4, 0, 1}).code, 0x1205u);
  EXPECT_EQ(command("dpp_sdt_eram_ddr_table_add", {0, 7, 2, 3, 0, 1}).code, 0x1205u);
}

TEST_F(SeMemory, RecordsKeepEveryFieldOfEveryType) {
  for (uint32_t type = DPP_SDT_ERAM; type <= DPP_SDT_TYPE_MAX; ++type) {
    std::vector<uint32_t> values;
    for (const dpp_format_field& field : dpp_sdt_fields(type)) {
      values.push_back(0x5A5A5A5A & ((1u << field.len) - 1));
    }
    uint64_t record = 0;
    ASSERT_EQ(dpp_sdt_pack(type, values, &record), 0u);
    EXPECT_EQ(dpp_sdt_type_of(record), type);
    for (uint32_t i = 0; i < values.size(); ++i) {
      EXPECT_EQ(dpp_sdt_field_get(record, dpp_sdt_fields(type)[i]), values[i]) << dpp_sdt_fields(type)[i].name;
    }
  }
}

TEST_F(SeMemory, EntriesOfMemoryTablesByTheirTableNumber) {
  const struct {
    uint32_t type, width, base, words;
  } tables[] = {{1, 0, 0x100, 1}, {1, 1, 0x200, 1}, {1, 2, 0x300, 2}, {1, 3, 0x400, 4},
                {2, 0, 0x10, 4},  {2, 1, 0x11, 8},  {2, 2, 0x12, 16}};
  for (const auto& table : tables) {
    text("dpp_sdt_eram_ddr_table_add", {0, 9, table.type, table.width, table.base, 4});
    text("dpp_sdt_table_data_pre", {0, 0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA});
    text("dpp_sdt_table_data_pre", {0, 10, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF, 0x100});
    text("dpp_sdt_table_data_write", {0, 9, 3});
    const char* reader = table.type == 1 ? "diag_dpp_se_eram_dir_rd_more" : "diag_dpp_se_ddr_dir_rd_more";
    const std::string shown = text(reader, {0, 9, 2, 2});
    EXPECT_THAT(shown, HasSubstr("entry[0x000002]: 0x00000000"));
    EXPECT_THAT(shown, HasSubstr(table.width == 0 && table.type == 1 ? "entry[0x000003]: 0x00000001\n"
                                                                     : "entry[0x000003]: 0x000000f1"));
    if (table.words == 16) {
      EXPECT_THAT(shown, HasSubstr(" 0x000000fd 0x000000fe 0x000000ff 0x00000100\n"));
    }
    // Behind the table's end nothing is touched.
    EXPECT_EQ(command("dpp_sdt_table_data_write", {0, 9, 4}).code, 0x1205u);
    EXPECT_EQ(command(reader, {0, 9, 4, 1}).code, 0x1205u);
  }
  EXPECT_THAT(text("diag_dpp_se_smmu0_rd128", {0, 0x403}), HasSubstr("0x000000f1 0x000000f2 0x000000f3 0x000000f4"));
  EXPECT_THAT(text("diag_dpp_se_smmu1_rd512_more", {0, 0x12 * 64 + 3, 1}), HasSubstr("0x000000f1 0x000000f2"));
  EXPECT_EQ(text("diag_dpp_se_eram_dir_rd_more", {0, 9, 0, 1}), "sdt 9 is of type DDR\n");
}

TEST_F(SeMemory, DirectTablesInDdr) {
  text("dpp_sdt_eram_ddr_table_add", {0, 1, 2, 0, 0x100, 8});
  text("dpp_sdt_table_data_pre", {0, 0, 0xAB});
  text("dpp_sdt_table_data_write", {0, 1, 6});
  set(dpp_regs::smmu1_dir_tbl_cfg::NUMBER, 0, 63, {1, 0, 0x100 * 64});
  EXPECT_EQ(text("diag_dpp_se_smmu1_dir_tbl_data_rd128", {0, 63, 6}),
            "direct table 63: valid, width_mode 0, tbl_baddr 0x0004000\n"
            "ddr128[0x010006]: 0x000000ab 0x00000000 0x00000000 0x00000000\n");
  EXPECT_THAT(text("diag_dpp_se_smmu1_dir_tbl_data_rd256", {0, 63, 3}), HasSubstr("ddr256[0x008003]: 0x000000ab"));
  EXPECT_THAT(text("diag_dpp_se_smmu1_dir_tbl_data_rd512", {0, 63, 1}), HasSubstr(" 0x000000ab"));
  set(dpp_regs::smmu1_dir_tbl_cfg::NUMBER, 0, 63, {1, 0, 0x3FFFFFF});
  EXPECT_EQ(command("diag_dpp_se_smmu1_dir_tbl_data_rd128", {0, 63, 6}).code, 0x1205u);
}

TEST_F(SeMemory, TernaryEntriesShareRows) {
  // Table 5: block 2 first, then block 1, entries of 160 bits.
  set(dpp_regs::etcam_block_tbl_id::NUMBER, 0, 2, {1, 2, 5});
  set(dpp_regs::etcam_block_tbl_id::NUMBER, 0, 1, {1, 2, 5});
  set(dpp_regs::etcam_block_baddr::NUMBER, 0, 1, {512});
  const uint32_t values[] = {5, 2, 0, 0, 0, 4096};
  uint64_t record = 0;
  ASSERT_EQ(dpp_sdt_pack(DPP_SDT_ETCAM, values, &record), 0u);
  text("diag_dpp_se_sdt_tbl_wr", {0, 3, static_cast<uint32_t>(record >> 32), static_cast<uint32_t>(record)});
  text("dpp_sdt_table_data_pre", {0, 0, 0x11111111, 0x22222222, 0x33333333, 0x44444444, 0x55555555});
  text("dpp_sdt_table_data_pre", {0, 20, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFF0});
  const uint32_t index = 512 * 4 + 6;  // row 513 of the table, entry 2 of 4
  text("dpp_sdt_table_data_write", {0, 3, index});
  text("dpp_sdt_table_data_pre", {0, 0, 0x99999999});
  text("dpp_sdt_table_data_write", {0, 3, index + 1});
  EXPECT_EQ(text("diag_dpp_se_etcam_tbl_entry_prt", {0, 5, index}),
            "etcam table 5, entry 2054: block 1, row 1, first part 4, 160 bits, valid\n"
            "  data: 1111111122222222333333334444444455555555\n"
            "  mask: fffffffffffffffffffffffffffffffffffffff0\n");
  EXPECT_THAT(text("diag_dpp_se_etcam_tbl_entry_prt", {0, 5, index - 1}), HasSubstr("160 bits, not valid\n"));
  EXPECT_THAT(text("diag_dpp_se_etcam_entry_prt", {0, 1, 1}), HasSubstr("block 1, row 1, valid parts 0x0f\n"));
  EXPECT_EQ(text("diag_dpp_se_etcam_tbl_entry_prt", {0, 5, 4096}), "etcam table 5 has no entry 4096\n");
  EXPECT_EQ(text("diag_dpp_se_etcam_table_block_prt", {0, 5}),
            "etcam table 5:\n  block 1: entries of 160 bits, first row 512\n"
            "  block 2: entries of 160 bits, first row 0\n  2 blocks\n");
  EXPECT_EQ(command("dpp_sdt_table_data_write", {0, 3, 4096}).code, 0x1205u);
}

TEST_F(SeMemory, HashMemoryLineInTwoSteps) {
  const uint32_t line = 13 << 11 | 2 << 9 | 0x155;
  text("diag_dpp_se_alg_write512_pre_ex", {0, 0, 0x83050102, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  text("diag_dpp_se_alg_write512_pre_ex", {0, 10, 10, 11, 12, 13, 14, 15});
  text("diag_dpp_se_alg_write512_ex", {0, line, 0xC});
  EXPECT_EQ(text("diag_dpp_se_alg_read512", {0, line}),
            "alg[0x006d55]: 0x83050102 0x00000001 0x00000002 0x00000003\n"
            " 0x00000004 0x00000005 0x00000006 0x00000007\n"
            " 0x00000000 0x00000000 0x00000000 0x00000000\n"
            " 0x00000000 0x00000000 0x00000000 0x00000000\n");
  EXPECT_EQ(text("diag_dpp_se_hash_zcam_item_prt", {0, 13, 2, 0x155}),
            "zblock 13, zcell 2, item 0x155\n"
            "quarter 0: hash_id 5, table_id 3, 128 bits\n  key and result: 0102000000010000000200000003\n"
            "quarter 1: empty\nquarter 2: empty\nquarter 3: empty\n");
  // The register side of the window: zblock 13 serves hash engine 1.
  text("diag_dpp_se_alg_write512_pre_ex", {0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3});
  text("diag_dpp_se_alg_write512_ex", {0, 1 << 16 | 13 << 11, 0});
  EXPECT_THAT(text("diag_dpp_se_hash_cfg_ex_prt", {0, 1}),
              HasSubstr("zgroup 1, zblock 5: st_en 1, service_sel 0, hash_channel_sel 1, hash_arg 0x1021\n"));
  EXPECT_THAT(text("diag_dpp_se_alg_read_zblock", {0, 13}),
              HasSubstr("st_en                                   : 0x00000001"));
}

TEST_F(SeMemory, ZgroupCheckFindsAStuckBitAndLeavesLinesAsTheyWere) {
  const uint32_t line = 9 << 11 | 3 << 9 | 511;
  text("diag_dpp_se_alg_write512_pre_ex", {0, 0, 0x1234, 0x5678});
  text("diag_dpp_se_alg_write512_ex", {0, line, 0});
  const std::string before = text("diag_dpp_se_alg_read512", {0, line});
  for (const char* name : {"diag_dpp_se_zgroup_check", "diag_dpp_se_zgroup_check_rd_only"}) {
    const std::string out = text(name, {0, 1});
    EXPECT_THAT(out, HasSubstr("zblock 09: OK, 0 of 44 lines differ"));
    EXPECT_THAT(out, HasSubstr("zgroup 1: 8 zblocks, 0 errors: HEALTHY\n"));
    EXPECT_EQ(text("diag_dpp_se_alg_read512", {0, line}), before);
  }
  stuck_word = 0x280008;  // the last word of a line of hash memory
  EXPECT_THAT(text("diag_dpp_se_zgroup_check", {0, 1}), HasSubstr("zgroup 1: 8 zblocks, 8 errors: NOT HEALTHY\n"));
}

TEST_F(SeMemory, HealthCheckJudgesErrorsBusyAndReadyBits) {
  EXPECT_THAT(text("diag_dpp_se_health_check", {0}),
              HasSubstr("SE: 18 items, 0 errors, 0 not ready, 0 busy: HEALTHY\n"));
  insert(R"({"registers": {"0x303000": "0x8", "0x26a000": 5, "0x262000": 0}})");
  const std::string out = text("diag_dpp_se_health_check", {0});
  EXPECT_THAT(out, HasSubstr("se_init_done                            : NOT READY, init_done\n"));
  EXPECT_THAT(out, HasSubstr("smmu0_int_status                        : ERROR, ram_dbe\n"));
  EXPECT_THAT(out, HasSubstr("se_hash_busy                            : BUSY, hash_busy=0x5\n"));
  EXPECT_THAT(out, HasSubstr("SE: 18 items, 1 error, 1 not ready, 1 busy: NOT HEALTHY\n"));
}

TEST_F(SeMemory, CountersOfTheWholeEngine) {
  insert(R"({"registers": {"0x264000": 17, "0x26c008": 4, "0x324054": 9}})");
  const std::string out = text("diag_dpp_se_detail", {0});
  EXPECT_THAT(out, HasSubstr("se ppu request        : 0x00000011, response: 0x00000000\n"));
  EXPECT_THAT(out, HasSubstr("hash 2 key: 0x00000004, hit: 0x00000000, miss: 0x00000000\n"));
  EXPECT_THAT(out, HasSubstr("smmu1 ddr 5 read: 0x00000009, write: 0x00000000\n"));
  EXPECT_THAT(text("diag_dpp_se_detail", {0}), Not(HasSubstr("0x00000011")));
}

}  // namespace
