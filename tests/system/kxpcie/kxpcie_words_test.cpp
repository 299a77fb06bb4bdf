// kxpcie: the table of commands, and their words, good, missing, too many and hostile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "system/session.h"

namespace {

using namespace kx_system;

TEST(Kxpcie, ListsItsCommandsByLevel) {
  const auto user = session::run("{}", {"kxpcie", "kxpcie flr 0000:3b:00.0"});
  EXPECT_THAT(lines_of(user.outputs[0]), Contains(StartsWith("kxpcie ")).Times(23));
  EXPECT_EQ(user.outputs[1], "kxpcie flr 0000:3b:00.0: No execution permission!\n");
  const auto super = session::run("{}", {"kxpcie"}, true);
  EXPECT_THAT(lines_of(super.outputs[0]), Contains(StartsWith("kxpcie ")).Times(32));
}

TEST(Kxpcie, ChecksWordsBeforeItTouchesAnything) {
  const char* const COMMANDS_WITHOUT_WORDS[] = {
      "cap_list",    "ecap_list", "bar_list", "msix_dump", "msi_dump", "aer_dump", "aer_clear", "dev_status",
      "link_status", "eq_status", "retrain",  "sriov",     "power",    "vpd_dump", "smmu",
  };
  const char* const few = "too few words: ";
  const char* const many = "too many words: ";
  std::vector<std::pair<std::string, const char*>> cases = {
      {"devmem", few},
      {"devmem 0 1 2", many},
      {"devmem 62080000g0", "is no number"},
      {"devmem -4", "address -4 is no number from 0 to 0xfffffffffff\n"},
      {"devmem 0x100000000000", "is no number"},
      {"devmem 0x62080000000000000", "is no number"},
      {"devmem 0x6208000002", "must be multiples of 4"},
      {"devmem 0 0", "do not lie below"},
      {"devmem 0 1025", "number of words 1025 is no number from 0 to 0x400\n"},
      {"devmem 0xffffffffffc 2", "do not lie below 0x100000000000\n"},
      {"devmem_write 0", few},
      {"devmem_write 0 0x100000000", "value 0x100000000 is no number from 0 to 0xffffffff\n"},
      {"devmem_write 0 1 -1", "value -1 is no number"},
      {"devmem_write 1 1", "must be multiples of 4"},
      {"devmem_write 0 1 2 3", many},
      {"addr_dump 0", few},
      {"addr_dump 0 0", "do not lie below"},
      {"addr_dump 0 6", "must be multiples of 4"},
      {"addr_dump 0 0x1000004", "length 0x1000004 is no number"},
      {"addr_dump 0 4 /nowhere/dump", "cannot make /nowhere/dump: No such file or directory\n"},
      {"addr_dump 0 4 /tmp", "cannot make /tmp: File exists\n"},
      {"dbi_read 0", few},
      {"dbi_read 5 0", "controller 5 is no number from 0 to 0x4\n"},
      {"dbi_read 0 0x100000000", "offset 0x100000000 is no number"},
      {"dbi_read 0 0xfffffffc 2", "do not lie below 0x100000000\n"},
      {"csr_read 0 2", "must be multiples of 4"},
      {"csr_read 4 0x4000000", "offset 0x4000000 is no number"},
      {"csr_read 0 0 1 1", many},
      {"tunnel_mode access", "access needs a value\n"},
      {"tunnel_mode access 4", "access 4 is no number from 0 to 0x3\n"},
      {"tunnel_mode secure 2", "secure 2 is no number from 0 to 0x1\n"},
      {"tunnel_mode open 1", "open is neither access nor secure\n"},
      {"tunnel_mode access 1 1", many},
      {"cfg_read", few},
      {"cfg_read 4096", "offset 4096 is no number from 0 to 0xfff\n"},
      {"cfg_read 2", "offset 0x2 is no multiple of 4\n"},
      {"cfg_read 0 3", "width 3 is not 1, 2 or 4\n"},
      {"cfg_read 0 0", "width 0 is not 1, 2 or 4\n"},
      {"cfg_write 0", few},
      {"cfg_write 0x3c 0x100 1", "value 0x100 is no number from 0 to 0xff\n"},
      {"cfg_write 0xb0 0", "belongs to the tunnel"},
      {"cfg_write 0xb7 0 1", "belongs to the tunnel"},
      {"cfg_dump 0 4 4", many},
      {"cfg_dump 0x1000", "is no number"},
      {"cfg_dump 0xff0 0x14", "length 0x14 is no number from 0 to 0x10\n"},
      {"cfg_dump 2", "must be multiples of 4"},
      {"cfg_dump 0 0", "the length not 0"},
      {"bar_read 0", few},
      {"bar_read 6 0", "BAR 6 is no number from 0 to 0x5\n"},
      {"bar_read 1 0", "the function has no BAR 1\n"},
      {"bar_read 0 0x100000", "do not lie in BAR 0 of 0x100000 bytes\n"},
      {"bar_read 0 0x7ffffffffffffffc", "do not lie in BAR 0"},
      {"bar_read 0 0xfffffffffffffffc", "is no number"},
      {"bar_read 0 1", "must be multiples of 4"},
      {"bar_read 0 0 2000", "is no number"},
      {"bar_write 0 0", few},
      {"bar_write 0 0xffffe 1", "must be multiples of 4"},
      {"bar_write 0 0x100000 1", "do not lie in BAR 0"},
      {"bar_dump 0 0", few},
      {"bar_dump 0 0 0", "length 0 is nothing to dump\n"},
      {"bar_dump 0 0xffffc 8", "do not lie in BAR 0"},
      {"margin 16", "lane 16 is no number from 0 to 0xf\n"},
      {"margin all 10001", "milliseconds a step 10001 is no number"},
      {"margin all 1 1", many},
      {"eye", few},
      {"eye all", "eye draws one lane\n"},
      {"eye -1", "lane -1 is no number"},
      {"flr", few},
      {"flr 0000:3b:00.1", "the bound function is 0000:3b:00.0, not 0000:3b:00.1; nothing was reset\n"},
      {"flr 0000:3b:00.0", "a driver uses 0000:3b:00.0; unbind it first\n"},
      {"black_box", few},
      {"black_box /dev/null", "cannot make /dev/null: File exists\n"},
      {"black_box /tmp/a /tmp/b", many},
  };
  for (const char* name : COMMANDS_WITHOUT_WORDS) {
    cases.push_back({std::string(name) + " x", many});
  }
  std::vector<session::Row> rows = {{"cfg_dump 0 0x100", testing::_}};
  for (const auto& [line, says] : cases) {
    const auto two_lines = testing::ResultOf(lines_of, testing::SizeIs(2));
    rows.push_back({line, AllOf(StartsWith("kxtools_err: ["), HasSubstr(says), two_lines,
                                EndsWith("\nkxpcie " + line + ": Command exec failed!\n"))});
  }
  rows.push_back({"cfg_dump 0 0x100", testing::_});
  const auto session = session::expect_shows(R"({"bar0": {"size": "0x100000"}})", "kxpcie ", rows, true);
  EXPECT_EQ(session.outputs.front(), session.outputs.back());
  EXPECT_THAT(session.result.log_of("card_"), Each(HasSubstr("address=0x6208000000")));
}

TEST(Kxpcie, ExplainsEachCommand) {
  session::expect_shows("{}", "kxpcie ",
                        {{"bar_dump -h", "bar_dump <bar> <offset> <bytes> [file]: dump of a BAR\n"},
                         {"power --help", "power: power state\n"}});
}

TEST(Kxpcie, NeedsAFunctionThatAnswers) {
  const auto unbound = run({.input = "q\nkxpcie power\nquit\n"});
  EXPECT_THAT(unbound.out, HasSubstr("It does not bind to any pcie device,Please bind kx device!\n"
                                     "kxpcie power: Command exec failed!\n"));
  // The function leaves the bus at the first transfer behind the bind's.
  const auto session = session::run(R"({"faults": {"tunnel": {"transfers": [{"from": 2, "vanish": true}]}}})",
                                    {"kxpcie devmem 0x6208000000", "kxpcie link_status", "kxpcie bar_read 0 0"});
  for (const std::string& output : session.outputs) {
    EXPECT_THAT(output, StartsWith("[PCIe] the card does not answer, its configuration space reads all ones!\n"));
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 2) << output;
  }
}

}  // namespace
