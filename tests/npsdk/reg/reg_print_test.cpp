#include <gtest/gtest.h>

#include <string>

#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_print.h"
#include "dpp_reg/dpp_reg_types.h"
#include "on_memory.h"

namespace {

using np_test::memory;

std::string line(const char* name, const char* value) {
  char text[80];
  snprintf(text, sizeof text, "%-40s: %s\n", name, value);
  return text;
}

class Prints : public OnMemory {
 protected:
  /// What a print puts on standard output; its code must be `code`.
  template <typename Call>
  static std::string printed(Call call, uint32_t code = 0) {
    return ::printed([&] { EXPECT_EQ(call(), code); });
  }
};

TEST_F(Prints, RowByItsTenFacts) {
  EXPECT_EQ(printed([] { return dpp_reg_info_prt(819, 0, 2); }),
            "name       : cfg_queue_dtb_len_0_127\n"
            "reg_no     : 819\n"
            "mod_no     : 13\n"
            "flag       : 0x00000000\n"
            "array_type : 0x00000001\n"
            "width      : 4\n"
            "field_num  : 3\n"
            "addr       : 0x02000048\n"
            "RW_flag    : 0x00000002\n");
}

TEST_F(Prints, FieldsOfOneInstanceUnderItsIndexes) {
  memory().words[0x2000028] = 0x40000010;
  const std::string fields = line("cfg_dtb_cmd_type", "0x00000001") + line("cfg_dtb_cmd_int_en", "0x00000000") +
                             line("cfg_queue_dtb_len", "0x00000010");
  EXPECT_EQ(printed([] { return dpp_reg_fields_print(0, 819, 0, 1); }), "N:1\n" + fields);
  EXPECT_EQ(printed([] { return dpp_reg_fields_vld_print(0, 819, 0, 1); }),
            "N:1\n" + line("cfg_dtb_cmd_type", "0x00000001") + line("cfg_queue_dtb_len", "0x00000010"));
  EXPECT_EQ(printed([] { return dpp_reg_fields_print(0, dpp_regs::pbu_cos_th::NUMBER, 3, 4); }),
            "M:3, N:4\n" + line("cos_th", "0x00000000"));
  EXPECT_EQ(printed([] { return dpp_reg_fields_print_with_def(0, dpp_regs::cpu_check_reg::NUMBER, 0, 0); }),
            line("cpu_check_reg", "0x00000000, default: 0xffffffff"));
}

TEST_F(Prints, AllInstances) {
  EXPECT_EQ(printed([] { return dpp_reg_fields_print_all(0, dpp_regs::axi_rd_cnt::NUMBER); }),
            "N:0\n" + line("rd_cnt", "0x00000000") + "N:1\n" + line("rd_cnt", "0x00000000"));
}

TEST_F(Prints, RawWordsFourALine) {
  const uint32_t addr = dpp_reg_info_get(dpp_regs::pktrx_phy_table::NUMBER)->addr;
  memory().words[addr] = 0x80000000;
  memory().words[addr + 12] = 5;
  EXPECT_EQ(printed([] { return dpp_reg_print32(0, dpp_regs::pktrx_phy_table::NUMBER, 0, 0); }),
            "N:0\n0x80000000 0x00000000 0x00000000 0x00000005\n");
  EXPECT_EQ(printed([] { return dpp_reg_print_more(0, dpp_regs::axi_wr_cnt::NUMBER, 0, 1, 5); }), "N:1\n0x00000000\n");
  EXPECT_EQ(printed([] { return dpp_reg_print_more(0, dpp_regs::pbu_cos_th::NUMBER, 2, 7, 2); }),
            "M:2, N:7\n0x00000000\nM:3, N:0\n0x00000000\n");
}

TEST_F(Prints, Ranges) {
  EXPECT_EQ(printed([] { return dpp_regs_dump(0, dpp_regs::cpu_check_reg::NUMBER, dpp_regs::cpu_check_reg::NUMBER); }),
            "reg_no:" + std::to_string(dpp_regs::cpu_check_reg::NUMBER) + ", name:cpu_check_reg\n0x00000000\n");
  EXPECT_EQ(printed([] { return dpp_regs_dump_bymn(0, 816, 817, 0, 127); }),
            "reg_no:817, name:cfg_queue_dtb_addr_h_0_127\nN:127\n0x00000000\n");
  EXPECT_EQ(printed([] { return dpp_regs_fields_dump_bymn(0, 817, 817, 0, 3); }),
            "reg_no:817, name:cfg_queue_dtb_addr_h_0_127\nN:3\n" + line("cfg_queue_dtb_addr_h", "0x00000000"));
  EXPECT_EQ(printed([] { return dpp_regs_print(0, 5, 4); }), "");
  const std::string all = printed([] { return dpp_regs_print(0, 817, 819); });
  EXPECT_NE(all.find("reg_no:819, name:cfg_queue_dtb_len_0_127\nN:0\n"), std::string::npos);
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 3 + 128 * (2 + 2 + 4));
}

TEST_F(Prints, StopWithTheCodeOfAFailedRead) {
  memory().fail_code = 0x55;
  const std::string text = printed([] { return dpp_regs_print(0, 0, 4439); }, 0x55);
  EXPECT_NE(text.find("[ErrorCode:0x55] !-- fields_print Call dpp_reg_read Fail!\n"), std::string::npos);
  EXPECT_NE(printed([] { return dpp_regs_print(16, 0, 0); }, 0x1205), "");
  EXPECT_NE(printed([] { return dpp_regs_dump(0, 0, 4440); }, 0x1205), "");
  EXPECT_NE(printed([] { return dpp_reg_print32(0, 4440, 0, 0); }, 0x1205), "");
}

TEST_F(Prints, ModuleNamesKeepTheirPadding) {
  char name[DPP_MODULE_NAME_SIZE];
  ASSERT_EQ(dpp_module_name_get(0, name), 0u);
  EXPECT_STREQ(name, "CFG   ");
  ASSERT_EQ(dpp_module_name_get(8, name), 0u);
  EXPECT_STREQ(name, "TRPG    ");
  ASSERT_EQ(dpp_module_name_get(17, name), 0u);
  EXPECT_STRNE(name, "");
  EXPECT_NE(printed([&] { return dpp_module_name_get(18, name); }, 0x1205), "");
}

TEST_F(Prints, HelpNamesTheCallForms) {
  EXPECT_NE(printed(dpp_reg_help).find("dpp_reg_write32_bymn(dev_id, reg_no, m_offset, n_offset, data)\n"),
            std::string::npos);
}

}  // namespace
