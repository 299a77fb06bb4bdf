// Updates that are broken off in each state, by Ctrl-C or by a kill: the shell goes on, and a second update on the same
// card succeeds.
#include <gmock/gmock.h>
#include <signal.h>

#include "update_run.h"

namespace {

using namespace kx_system;

constexpr const char* SLOW_CARD = R"({"information": {"os_type": 1},
                                      "update": {"header_ms": 100, "erase_ms": 250, "read_back_ms": 250, "end_ms": 250}})";

struct update_state {
  const char* name;
  const char* device;
  const char* request;  // how the request begins during which the update is broken off
};

class FirmwareUpdateBreak : public testing::TestWithParam<std::tuple<update_state, int>> {};

// What the interrupt says in each state is in the unit tests.
TEST_P(FirmwareUpdateBreak, IsRepeatedByTheNextUpdateOfTheShell) {
  const auto& [state, signal] = GetParam();
  const Workplace work;
  const std::string line = work.line(state.device);
  Process shell({.card = SLOW_CARD, .state = work.folder.path()});
  shell.send("0\nsu opsu\n" + line);
  EXPECT_TRUE(shell.expect_log(std::string("payload=") + state.request));
  const std::vector<pid_t> tools = shell.tools();
  ASSERT_EQ(tools.size(), 2u) << "shell and update";
  kill(tools.back(), signal);
  shell.send(line + "quit\n");
  const Result result = shell.wait();
  EXPECT_EQ(result.status, signal == SIGINT ? 130 : 128 + SIGKILL) << result.out;
  EXPECT_THAT(result.out, HasSubstr("write success"));
  EXPECT_TRUE(work.flash_holds_package());
  if (signal == SIGINT) {
    EXPECT_THAT(result.err, ContainsRegex("interrupted: .*partition"));
    EXPECT_THAT(work.log(), ContainsRegex("interrupted: .*partition"));
  }
}

INSTANTIATE_TEST_SUITE_P(States, FirmwareUpdateBreak,
                         testing::Combine(testing::Values(update_state{"authorisation", "eth0", "1c"},
                                                          update_state{"header", "0000:3b:00.0", "13"},
                                                          update_state{"erase", "eth0", "20"},
                                                          update_state{"data", "0000:3b:00.0", "40"},
                                                          update_state{"read_back", "eth0", "61"},
                                                          update_state{"end", "0000:3b:00.0", "16"}),
                                          testing::Values(SIGKILL, SIGINT)),
                         [](const auto& state_and_signal) {
                           return std::string(std::get<0>(state_and_signal.param).name) +
                                  (std::get<1>(state_and_signal.param) == SIGINT ? "_interrupted" : "_killed");
                         });

TEST(FirmwareUpdateSignals, EndTheUpdateLikeControlCUnlessTheyAreIgnored) {
  struct {
    int signal;
    bool ignored;   // as by nohup
    bool to_child;  // else to the tool that waits for it
  } const cases[] = {{SIGTERM, false, true},  {SIGHUP, false, true},  {SIGHUP, true, true},
                     {SIGTERM, false, false}, {SIGHUP, false, false}, {SIGHUP, true, false}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.signal);
    const Workplace work;
    const auto former = signal(test.signal, test.ignored ? SIG_IGN : SIG_DFL);
    // An interrupted erase ends long before.
    Process update(work.by_name(test.ignored ? SLOW_CARD : R"({"update": {"erase_ms": 10000}})"));
    signal(test.signal, former);
    ASSERT_TRUE(update.expect_log("payload=20"));
    const std::vector<pid_t> tools = update.tools();
    ASSERT_EQ(tools.size(), 2u);
    kill(test.to_child ? tools.back() : tools.front(), test.signal);
    const Result result = update.wait();
    EXPECT_EQ(result.status, test.ignored ? 0 : 130) << result.out;
    EXPECT_EQ(work.flash_holds_package(), test.ignored);
    EXPECT_EQ(work.log().find("image 1 of 2 is being erased") == std::string::npos, test.ignored);
  }
}

// Its parent passes nothing on: the update ends by itself, and the next one finds the lock free.
TEST(FirmwareUpdateSignals, KilledToolLeavesNoUpdateBehind) {
  const Workplace work;
  const Result result = work.script("$KXTOOL fwupdate eth0 " + work.package +
                                        " > out & until grep -q erasing out; do sleep 0.05; done; "
                                        "kill -KILL $!; wait $!; echo $?; $KXTOOL fwupdate eth0 part",
                                    R"({"update": {"erase_ms": 20000}})");
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("137\nactive partition: 1\n"));
  EXPECT_THAT(work.log(), HasSubstr("interrupted: partition 2 is incomplete, image 1 of 2 is being erased"));
}

TEST(FirmwareUpdateSignals, ShellEndsAfterTheUpdateThatItPassedItsSignalOnTo) {
  const Workplace work;
  Process shell({.card = R"({"update": {"erase_ms": 20000}})", .state = work.folder.path()});
  shell.send("0\n" + work.line("eth0") + "quit\n");
  ASSERT_TRUE(shell.expect_log("payload=20"));
  kill(shell.tools().front(), SIGTERM);
  const Result result = shell.wait();
  EXPECT_EQ(result.status, 128 + SIGTERM);
  EXPECT_THAT(result.err, HasSubstr("image 1 of 2 is being erased"));
}

TEST(FirmwareUpdateSignals, ReaderThatGoesAwayDoesNotEndTheUpdate) {
  const Workplace work;
  const Result result = work.script("$KXTOOL fwupdate eth0 " + work.package + " | head -n 1", SLOW_CARD);
  EXPECT_EQ(result.out, "image 1/2 erasing\n");
  EXPECT_TRUE(work.flash_holds_package());
}

// The card's notices go to the tool that came last, whichever port it asked.
TEST(FirmwareUpdateBeside, CommandOnAnotherPortWaitsForTheUpdateAndSaysForWhom) {
  const Workplace work;
  const Result result = work.script("cd " + work.folder.path() + "; $KXTOOL fwupdate eth0 " + work.package +
                                        " >out & sleep 0.5; $KXTOOL sn_info eth1 sn_info; wait; cat out",
                                    R"({"update": {"erase_ms": 1500}})");
  EXPECT_THAT(result.out, StartsWith("sn=KX2601A00042\n"));
  EXPECT_THAT(result.out, HasSubstr("write success"));
  EXPECT_THAT(result.err, ContainsRegex("\nwaiting for process [0-9]+ \\(.*/kxtool fwupdate eth0 .*\\), which holds "
                                        "/tmp/kxtool/kxts_card_0000:3a:00.0\n"));
  EXPECT_TRUE(work.flash_holds_package());
}

TEST(FirmwareUpdateBar, TakenAwayEndsTheUpdateWithItsLineAndNotTheShell) {
  for (const int request : {4, 9}) {
    const Workplace work;
    Command command = work.by_address(R"({"update": {"header_ms": 50}, "faults": {"mailbox": {"requests": [
        {"event_id": 27, "from": )" + std::to_string(request) +
                                      R"(, "count": 1, "takes_bar": true}]}}})");
    command.input.insert(command.input.find("quit\n"), "kxpcie cfg_read 0 4\n");
    const Result result = run(command);
    EXPECT_EQ(result.status, 7) << request << result.out;
    EXPECT_THAT(result.err, HasSubstr("kxtool: 0000:3b:00.0 BAR 0 was taken away")) << request;
    EXPECT_THAT(result.err, ContainsRegex("failed: .*partition")) << request;
    EXPECT_THAT(result.out, HasSubstr("0x000: 0x80371cf2")) << "the shell goes on";
  }
}

// The terminal's interrupt reaches the tool and its child at once.
TEST(FirmwareUpdateTerminal, ControlCEndsTheUpdateWith130) {
  const Workplace work;
  Command command = work.by_name(R"({"update": {"erase_ms": 10000}})");  // ends long before
  command.terminal = true;
  Process update(command);
  ASSERT_TRUE(update.expect("image 1/2 erasing"));
  update.send("\x03");
  const Result result = update.wait();
  EXPECT_EQ(result.status, 130);
  EXPECT_THAT(result.out,
              HasSubstr("image 1 of 2 is being erased: repeat the update; the running partition 1 is untouched"));
}

}  // namespace
