// Command lines: how they split, what they find in the tree, and what is said when they find nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../printed.h"
#include "cmd_line.h"
#include "device/address.h"
#include "kxtools/session.h"
#include "kxtools/shell.h"
#include "test_tree.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

TEST(CommandLine, SplitsAtRunsOfBlanksOnly) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"quit", {"quit"}},
      {"  kxtool   -v ", {"kxtool", "-v"}},
      {"a\tb c\r", {"a\tb", "c\r"}},
      {"'a b' \\ c", {"'a", "b'", "\\", "c"}},
      {"\x80\xff \x1b[0m", {"\x80\xff", "\x1b[0m"}},
      {"   ", {}},
  };
  for (const auto& [line, words] : cases) {
    const kxtools_cmd_context_owner ctx = kxtools_cmd_context_malloc(line);
    ASSERT_NE(ctx, nullptr);
    EXPECT_THAT(std::vector<std::string>(ctx->argp, ctx->argp + ctx->argc), ElementsAreArray(words)) << line;
  }
  EXPECT_EQ(kxtools_cmd_context_malloc(""), nullptr);
  EXPECT_EQ(kxtools_cmd_context_malloc(nullptr), nullptr);
}

class Dispatcher : public testing::Test {
 protected:
  void SetUp() override {
    test_tree_reset();
  }
  int32_t result_ = 0;
};

TEST_F(Dispatcher, HandsTheWordsAfterTheMatchToTheHandler) {
  handlers.status = 7;
  EXPECT_EQ(test_line_run("kxnp  group deep  1 group", &result_), "");
  EXPECT_EQ(result_, 7);
  ASSERT_EQ(handlers.calls.size(), 1u);
  EXPECT_EQ(handlers.calls[0].entry, "deep");
  EXPECT_THAT(handlers.calls[0].words, ElementsAre("1", "group"));
}

TEST_F(Dispatcher, SaysWhyALineDoesNotRun) {
  const std::pair<const char*, const char*> cases[] = {
      {"kxtool foo", "kxtool foo: No such command for kxtools!\n"},
      {"kxt", "kxt: No such command for kxtools!\n"},
      {"kxnp sho", "kxnp sho: No such command for kxtools!\n"},
      {"kxnp showx 1", "kxnp showx 1: No such command for kxtools!\n"},
      {"kxnp group\tdeep", "kxnp group\tdeep: No such command for kxtools!\n"},
      {"kxtool reset eth0", "kxtool reset eth0: No execution permission!\n"},
      {"kxnp hidden deep", "kxnp hidden deep: No execution permission!\n"},
      {"kxrdma x", "kxtools_err: [kxtools_module_help][#] para is err!\nkxrdma x: Command exec failed!\n"},
      {"kxvqm x", "kxtools_err: [kxtools_module_help][#] para is err!\nkxvqm x: Command exec failed!\n"},
      {"help me", "kxtools_err: [kxtools_help][#] para is err!\nhelp me: Command exec failed!\n"},
      {"quit now", "kxtools_err: [kxtools_quit][#] para is err!\nquit now: Command exec failed!\n"},
      {"logout x", "kxtools_err: [kxtools_permission_logout][#] para is err!\nlogout x: Command exec failed!\n"},
      {"   ", ""},
      {"", ""},
  };
  for (const auto& [line, said] : cases) {
    EXPECT_EQ(without_line_numbers(test_line_run(line, &result_)), said);
    EXPECT_EQ(result_, -1) << line;
  }
  EXPECT_TRUE(handlers.calls.empty());
}

TEST_F(Dispatcher, ReportsANegativeResultAndKeepsIt) {
  handlers.status = -5;
  EXPECT_EQ(test_line_run("kxnp show", &result_), "kxnp show: Command exec failed!\n");
  EXPECT_EQ(result_, -5);
}

TEST_F(Dispatcher, AGroupWithoutHandlerDoesNothing) {
  EXPECT_EQ(test_line_run("kxnp group", &result_), "");
  EXPECT_EQ(result_, 0);
}

TEST_F(Dispatcher, TakesTheFirstWordOfAMaintenanceLineAsItsDevice) {
  const std::pair<const char*, bool> cases[] = {
      {"kxtool sn_info a/b", true},  {"kxtool -v a/b", true},          {"kxtool sn_info a/b -h", true},
      {"kxtool sn_info -h x", true}, {"kxtool repair a/b", false},     {"kxtool sn_info", false},
      {"kxtool sn_info -h", false},  {"kxtool sn_info --help", false}, {"kxnp show a/b", false},
  };
  for (const auto& [line, takes_device] : cases) {
    test_tree_reset();
    const std::string said = without_line_numbers(test_line_run(line, &result_));
    EXPECT_EQ(result_, takes_device ? -1 : 0) << line;
    EXPECT_EQ(handlers.calls.size(), takes_device ? 0u : 1u) << line;
    EXPECT_EQ(said.find("kxtools_err: [kxtools_cmd_execute][#] kxtools_dev_name2bdf failed!\n") != std::string::npos,
              takes_device)
        << said;
  }
}

TEST_F(Dispatcher, SuperUserLevelIsEnteredWithTheAccessWordOnly) {
  const auto refused = [](const std::string& line, const std::string& cause) {
    return "kxtools_err: [kxtools_permission_switch][#] " + cause + " error!\n" + line + ": Command exec failed!\n";
  };
  const std::string entered =
      "Warning: You have entered super user mode, operations may cause system anomalies!!!\n\n\n";
  const struct {
    const char* line;
    std::string said;
    uint32_t level;
  } cases[] = {
      {"su", refused("su", "argc 0"), 0},
      {"su opsu opsu", refused("su opsu opsu", "argc 2"), 0},
      {"su Opsu", refused("su Opsu", "argp Opsu"), 0},
      {"su ops", refused("su ops", "argp ops"), 0},
      {"su opsux", refused("su opsux", "argp opsux"), 0},
      {"su opsu", entered, 1},
      {"su opsu", entered, 1},
      {"su root", refused("su root", "argp root"), 1},
      {"logout", "", 0},
      {"logout", "", 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(without_line_numbers(test_line_run(c.line, &result_)), c.said);
    EXPECT_EQ(kxtools_permission_get(), c.level) << c.line;
    EXPECT_STREQ(kxtools_prompt_get(), c.level == 1 ? "[root@kxtool]#" : "[kxtool]>");
  }
}

TEST_F(Dispatcher, PromptNamesTheDeviceAndNeverOverflows) {
  EXPECT_EQ(kxtools_prompt_set("0000:3b:00.1"), 0);
  EXPECT_STREQ(kxtools_prompt_get(), "[kxtool:0000:3b:00.1]>");
  EXPECT_EQ(kxtools_prompt_set(std::string(200, 'x').c_str()), 0);
  EXPECT_EQ(kxtools_prompt_get(), "[kxtool:" + std::string(91, 'x'));
  EXPECT_EQ(kxtools_prompt_set(""), 0);
}

TEST_F(Dispatcher, HelpWithANameShowsItsUsage) {
  const std::string refused = "kxtools_err: [kxtools_help][#] para is err!\n";
  const struct {
    const char* line;
    std::string said;
    int32_t result;
  } cases[] = {
      {"help sn_info", "help\n", 0},
      {"kxtool help sn_info", "help\n", 0},
      {"help kxtool -f", "    COMMAND:\n    -f\n\n", 0},
      {"help su", "enter super user\n", 0},
      {"help kxnp show", "show\n", 0},
      {"help kxnp group deep", "deep help\n", 0},
      {"help reset", refused + "help reset: Command exec failed!\n", -1},
      {"help sn_info eth0", refused + "help sn_info eth0: Command exec failed!\n", -1},
      {"kxtool help foo", refused + "kxtool help foo: Command exec failed!\n", -1},
      {"kxnp help", "kxnp help: No such command for kxtools!\n", -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(without_line_numbers(test_line_run(c.line, &result_)), c.said);
    EXPECT_EQ(result_, c.result) << c.line;
  }
  EXPECT_TRUE(handlers.calls.empty());
}

TEST_F(Dispatcher, SaysWhatWasMeantOnStandardError) {
  const struct {
    const char* line;
    const char* said;
  } cases[] = {
      {"kxnp sho", "kxtool: 'sho' is unknown: did you mean 'show'?\n"},
      {"kxnp hiden", "kxtool: 'hiden' is no command of kxnp: '-h' in its place lists them\n"},  // not of this level
      {"kxnp group depe", "kxtool: 'depe' is unknown: did you mean 'deep'?\n"},
      {"kxpn show", "kxtool: 'kxpn' is unknown: did you mean 'kxnp'?\n"},
      {"sn_info eth0", "kxtool: did you mean 'kxtool sn_info'?\n"},
      {"sn_inf eth0", "kxtool: 'sn_inf' is unknown: did you mean 'kxtool sn_info'?\n"},
      {"kxtool kxnp show",
       "kxtool: 'kxnp' is a module: its commands are run by 'kxtool bind <device> kxnp <command>'\n"},
      {"kxnp hidden", "kxtool: 'hidden' is for the super user, which 'su opsu' in the shell makes you\n"},
      {"zzz", "kxtool: 'zzz' is unknown: 'help' lists the commands of the shell\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(told([&] { test_line_run(c.line, &result_); }), c.said) << c.line;
  }
}

TEST_F(Dispatcher, ModuleHelpShowsTheVisibleTree) {
  const auto padded = [](std::string name) {
    name.resize(65, ' ');
    return name;
  };
  const std::string user = padded("kxnp") + "kxnp help info\n" + padded("kxnp show") + "\n" + padded("kxnp group") +
                           "group help\n" + padded("kxnp group deep") + "deep help\n";
  EXPECT_EQ(test_line_run("kxnp", &result_), user);
  EXPECT_EQ(test_line_run("kxrdma", &result_), padded("kxrdma") + "kxrdma help info\n");
  EXPECT_EQ(result_, 0);
  // Usage blocks stand on lines of their own; four blanks alone are no block.
  EXPECT_THAT(
      test_line_run("kxtool", &result_),
      testing::StartsWith(padded("kxtool") + "kxtool help info\n" + padded("kxtool -f") + "\n    COMMAND:\n    -f\n\n" +
                          padded("kxtool -fw") + "\n    x\n" + padded("kxtool -v") + "    \n" +
                          padded("kxtool repair") + "help\n" + padded("kxtool sn_info")));
  test_line_run("su opsu", &result_);
  EXPECT_EQ(test_line_run("kxnp", &result_), user + padded("kxnp group deep_root") + "\n" + padded("kxnp hidden") +
                                                 "hidden group\n" + padded("kxnp hidden deep") + "deep help\n" +
                                                 padded("kxnp hidden deep_root") + "\n");
}

TEST_F(Dispatcher, HelpListsTheTwelveEntries) {
  const std::string text = test_line_run("help", &result_);
  EXPECT_THAT(text, testing::StartsWith("kxtool                        kxtool help info\n"
                                        "kxnp                          kxnp help info\n"));
  EXPECT_THAT(text, testing::EndsWith("sbdf                          bind a new device\n"
                                      "help                          display this help info\n"));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 12);
}

TEST_F(Dispatcher, FindsTheModuleOfAnEntryOverThreeLevels) {
  uint32_t id = 99;
  const kxtools_cmd_entry* np = kxtools_cmd_sub_list_addr_get(KXTOOLS_MODULE_KXNP);
  const kxtools_cmd_entry* const entries[] = {kxtools_cmd_list_addr_get() + 1, np, &np[1], &np[1].sub_cmd_list[1]};
  for (const kxtools_cmd_entry* entry : entries) {
    EXPECT_EQ(kxtools_module_id_get(entry, &id), 0);
    EXPECT_EQ(id, KXTOOLS_MODULE_KXNP) << entry->name;
  }
  EXPECT_EQ(kxtools_module_id_get(kxtools_cmd_list_addr_get() + 11, &id), 0);
  EXPECT_EQ(id, 11u);
}

TEST_F(Dispatcher, NamesABrokenTable) {
  static constexpr kxtools_cmd_entry NO_LIST[] = {{"x", nullptr, nullptr, 0, 0, 0, 0, 3, nullptr}};
  static constexpr kxtools_cmd_entry STRANGER = {"s", nullptr, nullptr, 0, 0, 0, 0, 0, nullptr};
  const struct {
    const kxtools_cmd_entry* table;
    uint32_t count;
    const char* said;
  } cases[] = {
      {nullptr, 2, "kxtools_err: [kxtools_module_id_get][#] kxtools_command_list[1].sub_cmd_list is NULL!\n"},
      {NO_LIST, 1,
       "kxtools_err: [kxtools_module_id_get][#] kxtools_command_list[1].sub_cmd_list[0].sub_cmd_list is NULL!\n"},
      {nullptr, 0, "kxtools_err: [kxtools_module_id_get][#] no module_id found!\n"},
  };
  for (const auto& c : cases) {
    uint32_t id = 0;
    ASSERT_EQ(kxtools_cmd_register(KXTOOLS_MODULE_KXNP, c.table, c.count), 0);
    EXPECT_EQ(without_line_numbers(printed([&] { EXPECT_EQ(kxtools_module_id_get(&STRANGER, &id), -1); })), c.said);
  }
  EXPECT_EQ(kxtools_cmd_register(7, NO_LIST, 1), -1);
  EXPECT_EQ(kxtools_cmd_sub_list_addr_get(7), nullptr);
}

}  // namespace
