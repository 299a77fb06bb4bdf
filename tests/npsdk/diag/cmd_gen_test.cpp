// What the generator of the command table refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cmd_emit.h"
#include "cmd_sheet.h"

namespace {

// Three registers are enough: the reader looks numbers up by name.
std::vector<reg_gen::reg> registers() {
  reg_gen::reg single;
  single.name = "one";
  single.width = 4;
  single.fields = {{"a", 7, 8, 0, 0}, {"b", 15, 8, 0, 0}};
  reg_gen::reg row;
  row.number = 1;
  row.name = "row";
  row.width = 8;
  row.array_type = 1;
  row.n_size = 4;
  row.fields = {{"wide", 63, 64, 0, 0}};
  reg_gen::reg grid = row;
  grid.number = 2;
  grid.name = "grid";
  grid.width = 16;
  grid.array_type = 2;
  grid.m_size = 2;
  return {single, row, grid};
}

std::string complaint_of(const std::string& sheet) {
  const std::vector<reg_gen::reg> regs = registers();
  std::vector<cmd_gen::command> commands;
  reg_gen::complaints complaints;
  cmd_gen::sheet_read("test.rows", sheet, regs, commands, complaints);
  if (complaints.empty()) {
    cmd_gen::commands_check(commands, complaints);
  }
  return complaints.empty() ? "" : std::to_string(complaints[0].at.line) + ": " + complaints[0].text;
}

TEST(CommandSheet, RefusesWhatCannotRun) {
  const struct {
    const char* step;
    const char* complaint;
  } cases[] = {
      {"print \"%u\\n\" one.a", ""},
      {"print \"%u %llu\\n\" i row[i]", ""},
      {"print \"a\" \"%u\" i", ""},
      {"print \"%u\\n", "2: a text is left open or a number is none"},
      {"print \"%u\" 0xzz", "2: a text is left open or a number is none"},
      {"print \"%s\" i", "2: unknown conversion in the text"},
      {"print \"%u\"", "2: the text has 1 conversions for 0 values"},
      {"print \"%u\" row[0]", "2: value 1 and its conversion differ in width"},
      {"print \"%llu\" i", "2: value 1 and its conversion differ in width"},
      {"print \"%u\" two.a", "2: unknown register 'two'"},
      {"print \"%u\" one.c", "2: register 'one' has no field 'c'"},
      {"print \"%u\" row[i].wide", "2: field 'wide' has more than 32 bits"},
      {"print \"%llu\" grid[0][i]", "2: the register has more than 8 bytes"},
      {"fields row", "2: '[' is missing before ''"},
      {"fields row[4]", "2: the index of 'row' goes up to 4, the register ends at 3"},
      {"fields grid[0][few]", "2: the index of 'grid' goes up to 2, the register ends at 3"},
      {"fields row[free]", "2: the index of 'row' has no range"},
      {"fields row[j]", "2: unknown name 'j'"},
      {"fields grid[i][0]", "2: the index of 'grid' goes up to 3, the register ends at 1"},
      {"fields one extra", "2: too many words from 'extra' on"},
      {"set one", "2: a field is missing"},
      {"set one a=j", "2: unknown name 'j'"},
      {"clear none", "2: unknown register 'none'"},
      {"health one", "2: unknown register 'one_init_done'"},
      {"add i one.a", "2: 'i' is no total"},
      {"loop i=0..1", "2: 'i' stands for something else already"},
      {"loop k=0..1", "2: a loop before this line has no steps"},
      {"  fields one", "2: the step is indented too far"},
      {"set one *=0", ""},
      {"print \"%u %u\" one.*", ""},
      {"print \"%llu\" row[i].*", "2: field 'wide' has more than 32 bits"},
      {"run nothing", "2: unknown command 'nothing'"},
      {"dance", "2: 'dance' is no step of this command"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(complaint_of("command c dev_id i=0..3 free few=0..2 super \"c\"\n  " + std::string(c.step) + "\n"),
              c.complaint)
        << c.step;
  }
}

TEST(CommandSheet, RefusesWrongCommands) {
  const struct {
    const char* sheet;
    const char* complaint;
  } cases[] = {
      {"  print \"x\"\n", "1: a step before the first command"},
      {"macro m\n", "1: unknown kind of command 'macro'"},
      {"command c i=3..1 super \"x\"\n", "1: the range of 'i' is empty"},
      {"function f i=0..1 super \"x\"\n", ""},
      {"function f i=0..1\n", "1: command 'f' does not tell who may use it"},
      {"function f super\n", "1: a text is missing before ''"},
      {"command c super writes \"x\"\n", "1: the steps of a row tell what it writes"},
      {"missing m nobody\n", "1: command 'm' does not tell who may use it"},
      {"function f super \"x\"\n  print \"x\"\n", "2: 'print' is no step of this command"},
      {"text t a super \"x\"\n", "1: too many arguments"},
      {"function f a b c d e f g h i j k l m super \"x\"\n", "1: too many arguments"},
      {"command c super \"x\"\ntext c super \"x\"\n", "2: command 'c' stands twice"},
      {"fields c grid[m][n] super \"x\"\ncommand d dev_id super \"x\"\n  run c dev_id 1 3\n", ""},
      {"fields c grid[m] super \"x\"\n", "1: '[' is missing before 'super'"},
      {"fields c row[0] super \"x\"\n", "1: a name is missing before '0'"},
      {"fields c two super \"x\"\n", "1: unknown register 'two'"},
      // Names of loops end with them.
      {"command c super \"c\"\n  loop k=0..3\n    fields row[k]\n  loop k=0..1\n    fields row[k]\n", ""},
      {"command c super \"c\"\n  loop k=0..3\n    fields one\n  fields row[k]\n", "4: unknown name 'k'"},
      {"# a comment\n\ncommand c dev_id \\\n  i=0..3 super \"x\"\n  fields row[i]\n", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(complaint_of(c.sheet), c.complaint) << c.sheet;
  }
}

TEST(CommandSheet, LevelAndPurposeFeedListAndManual) {
  std::vector<cmd_gen::command> commands;
  reg_gen::complaints complaints;
  cmd_gen::sheet_read("test.rows",
                      "command a everyone \"A\"\nfunction b super writes \"B\"\nmissing c super\n"
                      "function e unlisted \"E\"\n",
                      registers(), commands, complaints);
  ASSERT_TRUE(complaints.empty());
  const std::string counts = cmd_gen::counts_text(commands);
  EXPECT_THAT(counts, testing::HasSubstr("DPP_CMD_NAMED_NUM = 3;"));
  EXPECT_THAT(counts, testing::HasSubstr("DPP_CMD_LISTED_NUM = 3;"));
  EXPECT_EQ(cmd_gen::manual_text(commands, "head\n@COMMANDS@\nmiddle\n@EXAMPLES@\nend\n"),
            "head\n.TP\n.B a\n.br\nA.\n.TP\n.B b\n.br\nB (super user).\n.TP\n.B e\n.br\nE (dpp_shell only).\n"
            "middle\nkxtool bind eth0 kxnp a\nend\n");
}

TEST(CommandSheet, TableHasRoomForSoManyCommandsOnly) {
  std::vector<cmd_gen::command> commands(cmd_gen::COMMAND_COUNT - 2);
  reg_gen::complaints complaints;
  EXPECT_EQ(cmd_gen::table_text(commands, registers(), complaints), "");
  EXPECT_EQ(complaints.size(), 1u);
}

}  // namespace
