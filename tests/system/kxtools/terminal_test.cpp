// The shell on a terminal: prompt, completion, history, interrupts, and a terminal that can do nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "text.h"

namespace {

using namespace kx_system;

const std::string PROMPT = "[kxtool:0000:3b:00.0]>";
const std::string ROOT_PROMPT = "[root@kxtool:0000:3b:00.0]#";

class Terminal : public testing::Test {
 protected:
  // Starts the shell on a terminal and binds the first function.
  void start(const char* card = "{}", const char* term = "TERM=xterm", unsigned short columns = 0) {
    process_.emplace(Command{.card = card, .terminal = true, .columns = columns, .environment = {term}});
    ASSERT_TRUE(process_->expect(ASK));
    process_->send("0\r");
    ASSERT_TRUE(process_->expect(PROMPT)) << process_->output();
  }
  void type(const char* keys, const std::string& expected) {
    process_->send(keys);
    EXPECT_TRUE(process_->expect(expected)) << expected << " not in " << process_->output();
  }
  void quit(int status) {
    type("quit\r", "quit");
    EXPECT_EQ(process_->wait().status, status);
  }
  std::optional<Process> process_;
};

TEST_F(Terminal, PromptFollowsDeviceAndLevel) {
  start();
  type("su opsu\r", ROOT_PROMPT);
  type("sbdf\r", ASK);
  type("1\r", "[root@kxtool:0000:3b:00.1]#");
  type("logout\r", "[kxtool:0000:3b:00.1]>");
  quit(0);
}

TEST_F(Terminal, TabCompletesWhatTheLevelMayRun) {
  start();
  type("kxto\tr\t", "kxtool repair ");
  type("\x15kxtool sn\t", "kxtool sn_info ");
  type("eth0 sn_info\r", "sn=KX2601A00042");
  type("", PROMPT);
  type("su opsu\r", ROOT_PROMPT);
  type("kxtool res\t", "kxtool reset ");
  process_->send("\x15");
  quit(0);
}

TEST_F(Terminal, ArrowUpBringsBackFailedLinesToo) {
  start();
  type("foo\r", "foo: No such command for kxtools!");
  type("", PROMPT);
  type("\x1b[A\r", "foo: No such command for kxtools!");
  type("", PROMPT);
  quit(255);
}

// What a key sends must move or do nothing: a rest of it in the line would be a wrong word, ready for Enter.
TEST_F(Terminal, KeysMoveOrDoNothingAndLeaveNoRestInTheLine) {
  const std::pair<const char*, std::string> cases[] = {
      {"bar\033[1;5Dx", "xbar"},      // Ctrl-Left
      {"bar\033[5Dx", "xbar"},        // the same of an older terminal
      {"bar\033Odx", "xbar"},         // and of another one
      {"bar\033[1;3Dx", "xbar"},      // Alt-Left
      {"bar\033bx", "xbar"},          // Alt-b
      {"bar\001\033[1;5Cx", "barx"},  // Home, Ctrl-Right
      {"bar\033[H\033fx", "barx"},    // Home, Alt-f
      {"bar\033[1;2Dx", "baxr"},      // Shift-Left
      {"b-r\033[1;5D\033[1;5Dx", "xb-r"},
      {"foo bar\033\177\177", "foo"},  // Alt-Backspace
      {"bar\033[15~x", "barx"},        // F5
      {"bar\033[24;5~x", "barx"},      // Ctrl-F12
      {"bar\033[[Ax", "barx"},         // F1 of the console
      {"bar\033OPx", "barx"},          // F1
      {"bar\033[200~x\033[201~", "barx"},
      {"bar\033[?1;2cx", "barx"},  // an answer of the terminal
      {"bar\033[2~\033[5~\033[6~x", "barx"},
      {"bar\033zx", "barx"},  // Alt-z
      {"bar\033[1~x\033[4~y", "xbary"},
      {"n\xc3\xb6\177a", "na"},  // a character of two bytes
      {"n\xc3\xb6\033[Dx", "nx\xc3\xb6"},
      {"n\xe2\x82\xac\001\033[C\033[3~x", "nx"},
      {"\033[3~\177\033[Dbar", "bar"},  // nothing to delete is no end of the input
  };
  start();
  for (const auto& [keys, line] : cases) {
    process_->send(keys);
    type("\r", "\n" + line + ": No such command for kxtools!");
    type("", PROMPT);
  }
  process_->send("bar\033");
  usleep(300000);  // Escape alone: nothing follows
  type("x\r", "barx: No such command for kxtools!");
  quit(255);
}

TEST_F(Terminal, InterruptStopsTheCommandAndNotTheShell) {
  start(R"({"faults": {"driver": {"requests": [{"never_answers": true}]}}})");
  process_->send("kxtool sn_info eth0 sn_info\r");
  ASSERT_TRUE(process_->expect_log("ioctl_silent"));
  type("foo\r\x03", "kxtool: interrupted");  // which also takes back what was typed ahead
  type("", PROMPT);
  type("help\r", "display this help info");
  type("", PROMPT);
  quit(130);
}

// All at once: every line runs in turn, an answer goes to the question before it, and the last line waits for its end.
TEST_F(Terminal, LinesTypedAheadAndPastedRunInTurn) {
  const std::string block = "n\xc3\xb6\x07pe\nsbdf\r1\r\x1b[A\x1b[A\rkxtool sn_info eth0 sn_info\rsu opsu\n\rqu";
  for (const bool command_runs : {false, true}) {
    start();
    if (command_runs) {
      type("kxtrace_app vqm rate 1\r", "vfid: 0");
      process_->send("\x04");  // no end of input: nothing reads
    }
    process_->send(block);
    for (const char* shown : {"n\xc3\xb6pe: No such command", ASK.c_str(), "n\xc3\xb6pe: No such command",
                              "sn=KX2601A00042", "[root@kxtool:0000:3b:00.1]#\r\n", "[root@kxtool:0000:3b:00.1]#qu"}) {
      ASSERT_TRUE(process_->expect(shown)) << shown << " not in " << process_->output();
    }
    type("it\r", "it");
    EXPECT_EQ(process_->wait().status, 255);
  }
}

TEST_F(Terminal, EndOfInputAndInterruptAtThePromptEndTheShell) {
  for (const char* key : {"\x03", "\x04"}) {
    start();
    process_->send(key);
    EXPECT_EQ(process_->wait().status, 0);
  }
}

TEST_F(Terminal, ALineIsEditedOnATerminalNarrowerThanItsPrompt) {
  start("{}", "TERM=xterm", 20);
  type("hlp\x1b[D\x1b[De\r", "display this help info");
  quit(0);
}

TEST_F(Terminal, ATerminalThatCanDoNothingStillHasAShell) {
  start("{}", "TERM=dumb");
  type("kxtool sn_info eth0 sn_info\n", "sn=KX2601A00042");
  type("", PROMPT);
  type("su opsu\n", ROOT_PROMPT);
  type("\x04", "");
  const Result result = process_->wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
}

TEST(TerminalMode, IsGivenBackWhenTheToolIsEndedAtItsPrompt) {
  const std::pair<std::string, const char*> cases[] = {
      {"| head -7", "status 0"},
      {"& until stty -a | grep -q -- -icanon; do sleep 0.01; done; kill $!; wait $!", "status 143"},
  };
  for (const auto& [behind, status] : cases) {
    SCOPED_TRACE(behind);
    Command command = script("exec 3<&0; $KXTOOL <&3 " + behind + "; echo status $?; stty -a");
    command.terminal = true;
    Process process(command);
    process.send("0\r");
    bool ended = false;
    for (int i = 0; i < 100 && !ended; ++i) {
      process.send("\r");  // one of the prompts has no reader
      ended = process.expect(status, milliseconds(100));
    }
    EXPECT_TRUE(process.expect(" icanon")) << process.output();
  }
}

// Lengths of the mappings of BAR 0 in a process.
std::vector<uint64_t> bar_mappings(pid_t pid) {
  std::vector<uint64_t> lengths;
  std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    unsigned long start = 0;
    unsigned long end = 0;
    if (line.find("bar0") != std::string::npos || line.find("resource0") != std::string::npos) {
      sscanf(line.c_str(), "%lx-%lx", &start, &end);
      lengths.push_back(end - start);
    }
  }
  return lengths;
}

TEST_F(Terminal, ALinesMappingEndsWithTheLine) {
  start(R"({"bar0": {"compat": {"1": {"major": 1}}}})");
  const std::vector<pid_t> tools = process_->tools();
  ASSERT_EQ(tools.size(), 1u);
  EXPECT_EQ(bar_mappings(tools[0]), std::vector<uint64_t>{0x4000000});
  type("kxtool sn_info eth1 sn_info\r", "Compatibility check failed!");  // after mapping
  type("", PROMPT);
  type("kxtool dump_eth_info eth1\r", PROMPT);
  EXPECT_EQ(bar_mappings(tools[0]), std::vector<uint64_t>{0x4000000});
}

TEST_F(Terminal, OnlyTheFirstGigabyteOfABarIsMapped) {
  start(R"({"bar0": {"size": 4294967296}})");
  const std::vector<pid_t> tools = process_->tools();
  ASSERT_EQ(tools.size(), 1u);
  EXPECT_EQ(bar_mappings(tools[0]), std::vector<uint64_t>{0x40000000});
}

}  // namespace
