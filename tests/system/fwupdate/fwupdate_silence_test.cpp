// A mailbox that goes silent in the middle of an update: the card takes no request any more, or a notice that the tool
// must not take stands in the way of all others.
#include <gmock/gmock.h>
#include <signal.h>

#include "update_run.h"

namespace {

using kx_system::Process;
using kx_system::Result;
using testing::HasSubstr;
using update_run::bytes;
using update_run::Workplace;

void expect_incomplete(const Workplace& work, const Result& result, const char* state) {
  const std::string text =
      std::string("partition 2 is incomplete, image 1 of 2 ") + state + "; the running partition 1 is untouched\n";
  EXPECT_THAT(result.err, HasSubstr(text));
  EXPECT_THAT(work.log(), HasSubstr(text));
  EXPECT_THAT(result.out, HasSubstr(update_run::NEXT_OUT)) << "the run lock is not free";
  EXPECT_EQ(work.flash(update_run::PARTITION_1, 0x10000), bytes(0x10000));
  EXPECT_FALSE(work.flash_holds_package());
}

// The mailbox's limit is ten seconds.
TEST(FirmwareUpdateSilence, CardThatTakesNoPacketEndsTheProcessWithSix) {
  const Workplace work;
  const Result result = kx_system::run(
      work.with_next(update_run::ADDRESS, R"({"information": {"os_type": 1}, "faults": {"mailbox": {"requests": [
                                              {"event_id": 27, "from": 4, "count": 1, "never_answers": true}]}}})"));
  EXPECT_EQ(result.status, 6) << result.out;
  EXPECT_THAT(result.out, HasSubstr("]BAR MSG ERR: msg_id: 0 time out.\033[m\nBAR MSG SEND ERR:ret 6 !\n"));
  EXPECT_THAT(work.log(), HasSubstr("the channel to the card failed, exit status 6\n"));
  expect_incomplete(work, result, "holds 2028 of 5000 bytes: repeat the update");
}

// Such a notice stays where it is, so the erase is never reported and the user's Ctrl-C ends the update.
TEST(FirmwareUpdateSilence, NoticeThatFailsItsCheckIsNamedAndTheUpdateCanBeInterrupted) {
  struct {
    std::string notice;
    const char* line;
  } const cases[] = {
      {R"("event_id": 40, "payload": "02")", "recv header ERR: invalid event_id: 40.\033[m\n"},
      {R"("payload": ")" + std::string(2 * 2037, '0') + '"', "recv header ERR: invalid mesg len: 2037.\033[m\n"},
      {R"("event_id": 38, "payload": "02")", "recv header ERR: module:38  doesn't register\033[m\n"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.line);
    const Workplace work;
    const std::string card = R"({"information": {"os_type": 1}, "notices": [{"after_ms": 250, )" + test.notice + "}]}";
    Process shell({.card = card, .state = work.folder.path()});
    shell.send("0\nsu opsu\n" + work.line(update_run::ADDRESS));
    EXPECT_TRUE(shell.expect(test.line)) << shell.output();
    EXPECT_TRUE(shell.expect_log("payload=2002"));
    const std::vector<pid_t> tools = shell.tools();
    ASSERT_EQ(tools.size(), 2u) << "shell and update";
    kill(tools.back(), SIGINT);
    shell.send(std::string("kxtool fwupdate ") + update_run::ADDRESS + " part\nquit\n");
    const Result result = shell.wait();
    EXPECT_EQ(result.status, 130) << result.out;
    expect_incomplete(work, result, "is being erased: repeat the update");
  }
}

}  // namespace
