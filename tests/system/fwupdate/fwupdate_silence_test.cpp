// A mailbox that goes silent in the middle of an update: the card takes no request any more, or a notice that the tool
// must not take stands in the way of all others.
#include <gmock/gmock.h>

#include "update_run.h"

namespace {

using namespace kx_system;

void expect_incomplete(const Workplace& work, const Result& result, const char* state) {
  const std::string text =
      std::string("partition 2 is incomplete, image 1 of 2 ") + state + "; the running partition 1 is untouched\n";
  EXPECT_THAT(result.err, HasSubstr(text));
  EXPECT_THAT(work.log(), HasSubstr(text));
  EXPECT_THAT(result.out, HasSubstr(NEXT_OUT)) << "the run lock is not free";
  EXPECT_EQ(work.flash(PARTITION_1, 0x10000), bytes(0x10000));
  EXPECT_FALSE(work.flash_holds_package());
}

// The mailbox's limit is ten seconds.
TEST(FirmwareUpdateSilence, CardThatTakesNoPacketEndsTheProcessWithSix) {
  const Workplace work;
  const Result result =
      run(work.with_next(ADDRESS, R"({"information": {"os_type": 1}, "faults": {"mailbox": {"requests": [
                                              {"event_id": 27, "from": 4, "count": 1, "never_answers": true}]}}})"));
  EXPECT_EQ(result.status, 6) << result.out;
  EXPECT_THAT(result.out, HasSubstr("]BAR MSG ERR: msg_id: 0 time out.\033[m\nBAR MSG SEND ERR:ret 6 !\n"));
  EXPECT_THAT(work.log(), HasSubstr("the channel to the card failed, exit status 6\n"));
  expect_incomplete(work, result, "holds 2028 of 5000 bytes: repeat the update");
}

// Such a notice stays where it is and nothing else comes through the slot: before the first byte is written nothing is,
// later the update ends at once.
TEST(FirmwareUpdateSilence, NoticeThatFailsItsCheckIsNamedAndEndsTheUpdate) {
  for (const bool at_once : {false, true}) {
    SCOPED_TRACE(at_once);
    const Workplace work;
    const std::string card = R"({"information": {"os_type": 1}, "update": {"erase_ms": 60000}, "notices": [
                                 {"after_ms": )" +
                             std::string(at_once ? "0" : "400") + R"(, "event_id": 38, "payload": "02"}]})";
    const Result result = run(work.with_next(ADDRESS, card));
    EXPECT_EQ(result.status, 7) << result.out;
    EXPECT_THAT(result.out, HasSubstr("recv header ERR: module:38  doesn't register\033[m\n"));
    EXPECT_THAT(result.err, HasSubstr("cause: the card's answers cannot be heard: a notice that cannot be taken stands "
                                      "in the card's mailbox\n"));
    if (at_once) {
      EXPECT_THAT(result.err, HasSubstr("failed: nothing was written to the flash"));
      EXPECT_THAT(result.log, Not(Contains(HasSubstr(" payload=13"))));
    } else {
      expect_incomplete(work, result, "is being erased: repeat the update");
    }
  }
}

}  // namespace
