#include <gtest/gtest.h>

#include <string>

#include "csv.h"
#include "emit.h"
#include "sheet.h"

namespace {

const std::string header =
    "number,name,block,addr,width,array,m_size,m_step,n_size,n_step,access,convert,class,fields\n";

struct refusal {
  const char* line;
  const char* complaint;
};

// One good line, and what each change to it is answered with.
const refusal refusals[] = {
    {"x,a,cfg,0x0,4,single,,,,,direct,,cfg,f[0]", "number is no number: 'x'"},
    {"4440,a,cfg,0x0,4,single,,,,,direct,,cfg,f[0]", "register numbers end at 4439"},
    {"0,A b,cfg,0x0,4,single,,,,,direct,,cfg,f[0]", "'A b' is no register name"},
    {"0,,cfg,0x0,4,single,,,,,direct,,cfg,f[0]", "'' is no register name"},
    {"0,a,nowhere,0x0,4,single,,,,,direct,,cfg,f[0]", "unknown block 'nowhere'"},
    {"0,a,cfg,0x100000000,4,single,,,,,direct,,cfg,f[0]", "addr is no number: '0x100000000'"},
    {"0,a,cfg,0x2,4,single,,,,,direct,,cfg,f[0]", "the address is no multiple of 4"},
    {"0,a,cfg,0x0,0,single,,,,,direct,,cfg,f[0]", "width 0 is no multiple of 4 from 4 to 512"},
    {"0,a,cfg,0x0,6,single,,,,,direct,,cfg,f[0]", "width 6 is no multiple of 4 from 4 to 512"},
    {"0,a,cfg,0x0,516,single,,,,,direct,,cfg,f[0]", "width 516 is no multiple of 4 from 4 to 512"},
    {"0,a,cfg,0x0,4,list,,,,,direct,,cfg,f[0]", "unknown array 'list'"},
    {"0,a,cfg,0x0,4,single,,,2,4,direct,,cfg,f[0]", "n_size has no meaning for array 'single'"},
    {"0,a,cfg,0x0,4,n,2,8,2,4,direct,,cfg,f[0]", "m_size has no meaning for array 'n'"},
    {"0,a,cfg,0x0,4,n,,,0,4,direct,,cfg,f[0]", "n_size is 0"},
    {"0,a,cfg,0x0,4,n,,,2,0,direct,,cfg,f[0]", "n_step is 0"},
    {"0,a,cfg,0x0,4,mn,2,0,2,4,direct,,cfg,f[0]", "m_step is 0"},
    {"0,a,cfg,0x0,8,n,,,2,4,direct,,cfg,f[0]", "instances overlap"},
    {"0,a,cfg,0x0,4,mn,2,4,2,4,direct,,cfg,f[0]", "instances overlap"},
    {"0,a,cfg,0xfffffffc,4,n,,,2,4,direct,,cfg,f[0]", "the last instance lies beyond the 32-bit address space"},
    {"0,a,cfg,0x0,4,mn,2000,4000,2000,4,direct,,cfg,f[0]", "more than 1048576 instances"},
    {"0,a,cfg,0x0,4,single,,,,,magic,,cfg,f[0]", "unknown access 'magic'"},
    {"0,a,etm,0x0,8,single,,,,,tm,,cfg,f[0]", "access 'tm' moves registers of 4 bytes"},
    {"0,a,se4k,0x0,32,single,,,,,se_alg,,cfg,f[0]", "access 'se_alg' moves registers of 64 bytes"},
    {"0,a,cfg,0x0,4,single,,,,,direct,maybe,cfg,f[0]", "convert is neither yes nor no: 'maybe'"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,secret,f[0]", "unknown class 'secret'"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,", "the register has no field"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,default[0]", "field 'default' has the name of a word of the language"},
    {"0,switch,cfg,0x0,4,single,,,,,direct,,cfg,f[0]", "register 'switch' has the name of a word of the language"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f", "unreadable field 'f'"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f[0:4]", "unreadable field 'f[0:4]'"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f[0]=z", "unreadable field 'f[0]=z'"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f[0]/odd", "unreadable field 'f[0]/odd'"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f[32]", "field 'f' lies outside the register of 4 bytes"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f[7:4] g[4]", "field 'g' overlaps field 'f'"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f[7:4] g[12:0]", "field 'g' overlaps field 'f'"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f[0] f[1]", "field 'f' stands twice in the register"},
    {"0,a,cfg,0x0,4,single,,,,,direct,,cfg,f[3:0]=16", "default of field 'f' does not fit its 4 bits"},
    {"4439,a,cfg,0x0,4,raw,,,2,4,direct,,cfg,f[0]", "register numbers end at 4439"},
    {"0,a,cfg,0x0,8,raw,,,2,8,direct,,cfg,f[0]", "a raw row describes words of 4 bytes with one field"},
    {"0,a,cfg,0x0,4,single", "6 cells in place of 14"},
    {"0,\"a,cfg,0x0,4,single,,,,,direct,,cfg,f[0]", "a quote is left open"},
};

struct sheets_read {
  std::vector<reg_gen::reg> regs;
  reg_gen::complaints complaints;

  explicit sheets_read(const std::string& text = header, const char* name = "s0.csv") {
    reg_gen::sheet_read(name, text, regs, complaints);
  }
};

TEST(SheetRefusals, NameFileLineAndFault) {
  for (const refusal& r : refusals) {
    const auto [regs, complaints] = sheets_read(header + "# a comment\n" + r.line + "\n", "bad.csv");
    ASSERT_FALSE(complaints.empty()) << r.line;
    EXPECT_EQ(complaints[0].text, r.complaint) << r.line;
    EXPECT_EQ(complaints[0].at.file, "bad.csv");
    EXPECT_EQ(complaints[0].at.line, 3u);
    EXPECT_TRUE(regs.empty());
  }
}

TEST(SheetRefusals, SheetWithoutItsColumns) {
  for (const char* text : {"", "# nothing\n", "number,name\n", "name,number,block\n0,a,cfg\n"}) {
    EXPECT_EQ(sheets_read(text).complaints.size(), 1u) << text;
  }
}

// The complaints about sheets that are good one by one.
std::vector<std::string> check_complaints(const std::vector<std::string>& sheets) {
  auto [regs, complaints] = sheets_read();
  for (size_t i = 0; i < sheets.size(); ++i) {
    reg_gen::sheet_read("s" + std::to_string(i) + ".csv", header + sheets[i], regs, complaints);
  }
  EXPECT_TRUE(complaints.empty());
  reg_gen::regs_check(regs, complaints);
  std::vector<std::string> texts;
  for (const reg_gen::complaint& c : complaints) {
    texts.push_back(c.at.file + ":" + std::to_string(c.at.line) + ": " + c.text);
  }
  return texts;
}

const std::string one = "0,one,cfg,0x0,4,single,,,,,direct,,cfg,f[0]\n";
const std::string rest = "1,rest,etm,0x100,4,raw,,,4439,4,direct,,state,data[31:0]\n";

TEST(SheetRefusals, NumbersAndNamesAcrossSheets) {
  using texts = std::vector<std::string>;
  EXPECT_EQ(check_complaints({rest, one}), texts{});
  EXPECT_EQ(check_complaints({one + rest, "7,two,cfg,0x8,4,single,,,,,direct,,cfg,f[0]\n"}),
            texts{"s1.csv:2: number 7 is used twice, first at s0.csv:3"});
  EXPECT_EQ(check_complaints({rest}), texts{"s0.csv:2: number 0 is missing before this row"});
  EXPECT_EQ(check_complaints({one, "1,rest,etm,0x100,4,raw,,,4438,4,direct,,state,data[31:0]\n"}),
            texts{"s1.csv:2: number 4439 is missing after this row"});
  EXPECT_EQ(check_complaints({one,
                              "1,one,cfg,0x8,4,single,,,,,direct,,cfg,f[0]\n"
                              "2,rest,etm,0x100,4,raw,,,4438,4,direct,,state,data[31:0]\n"}),
            texts{"s1.csv:2: name 'one' is used twice, first at s0.csv:2"});
}

TEST(Sheets, ReadFieldsArraysAndRawWords) {
  const auto [regs, complaints] =
      sheets_read(header +
                  "3,arr,dtb4k,0x40,8,mn,2,0x100,4,0x10,direct,no,int,h[63:32]=0xffffffff  l[0]/cfg\r\n"
                  "4,raw,etm,0x1000,4,raw,,,3,8,etm,,state,data[31:0]\n");
  ASSERT_TRUE(complaints.empty());
  ASSERT_EQ(regs.size(), 4u);
  EXPECT_EQ(regs[0].mod_no, 13u);
  EXPECT_EQ(regs[0].flag, 1u);
  EXPECT_EQ(regs[0].array_type, 2u);
  ASSERT_EQ(regs[0].fields.size(), 2u);
  EXPECT_EQ(regs[0].fields[0].len, 32u);
  EXPECT_EQ(regs[0].fields[0].flag, 1u);
  EXPECT_EQ(regs[0].fields[1].flag, 2u);
  EXPECT_EQ(regs[3].number, 6u);
  EXPECT_EQ(regs[3].addr, 0x1010u);
  EXPECT_EQ(regs[3].name, "raw_raw_001010");
}

TEST(Sheets, TypesAreOfDescribedRegistersOnly) {
  const std::string text = reg_gen::types_text(sheets_read(header + one + rest).regs, {});
  EXPECT_NE(text.find("struct one {\n  static constexpr uint32_t NUMBER = 0;\n"), std::string::npos);
  EXPECT_NE(text.find("  uint32_t f;\n};\n"), std::string::npos);
  EXPECT_EQ(text.find("rest"), std::string::npos);
}

TEST(Formats, AreTypesWithTheirFields) {
  std::vector<reg_gen::reg> formats;
  reg_gen::complaints complaints;
  const std::string columns = "name,width,fields\n";
  reg_gen::formats_read("f.csv", columns + "word,8,high[63:32] low[0]\n", formats, complaints);
  EXPECT_NE(reg_gen::types_text({}, formats)
                .find("struct word {\n  static constexpr uint32_t WIDTH = 8;\n"
                      "  static constexpr dpp_format_field FIELDS[] = {{\"high\",63,32},{\"low\",0,1}};\n"
                      "  uint32_t high;\n  uint32_t low;\n};\n"),
            std::string::npos);
  EXPECT_TRUE(complaints.empty());
  for (const char* bad :
       {"word,8,wide[32:0]\n", "word,8,f[64]\n", "word,6,f[0]\n", "word,8\n", "int,8,f[0]\n", "w,8,\n"}) {
    reg_gen::formats_read("f.csv", columns + bad, formats, complaints);
    EXPECT_EQ(complaints.size(), 1u) << bad;
    complaints.clear();
  }
  EXPECT_EQ(formats.size(), 1u);
}

}  // namespace
