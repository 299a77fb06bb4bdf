// What the card does wrong, seen by the real tool on each wire: status, line, log, flash, and a run lock that the next
// command gets. A card that stays silent is in fwupdate_silence_test.cpp, what the update itself makes of a failing
// card in the unit tests, where a tick takes no time.
#include <gmock/gmock.h>

#include "update_run.h"

namespace {

using namespace kx_system;

std::string card_with(const std::string& faults) {
  return R"({"update": {"erase_ms": 1, "read_back_ms": 1, "end_ms": 1}, "faults": )" + faults + "}";
}

TEST(FirmwareUpdateFault, OnTheWireEndsTheUpdateWithItsLines) {
  struct {
    const char* device;
    const char* faults;
    int status;
    const char* out;
    const char* log;
    const char* also_log;
    const char* cause;
  } const cases[] = {
      {"eth0", R"({"driver": {"requests": [{"type": 1, "from": 3, "count": 1, "errno": 5}]}})", 7,
       "ioctl error,ret=-1!\n", "****ret = 1 ****", "****The update has failed. Please retry after a few minutes.****",
       "cause: the package header was not taken\n"},
      // The channel ends the process; the update still has its say.
      {ADDRESS, R"({"mailbox": {"requests": [{"event_id": 27, "from": 2, "count": 1, "message_id": 9}]}})", 15,
       "send msg id: 0, but get reply msg id: 9.", "upd_info.auth = 1",
       "the channel to the card failed, exit status 15", "cause: the card"},
      {ADDRESS, R"({"mailbox": {"requests": [{"event_id": 27, "from": 3, "count": 1, "length": 2}]}})", 12,
       "reps_buf_len is 1, but reps_msg_len is 2", "KXPKGINFO write flash ok",
       "the channel to the card failed, exit status 12", "cause: the card"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.faults);
    const Workplace work;
    const Result result = run(work.with_next(test.device, card_with(test.faults)));
    EXPECT_EQ(result.status, test.status) << result.out;
    EXPECT_THAT(result.out, AllOf(HasSubstr(test.out), Not(HasSubstr("write success"))));
    EXPECT_THAT(result.out, HasSubstr(NEXT_OUT)) << "the run lock is not free";
    EXPECT_THAT(result.err, AllOf(HasSubstr(test.cause), HasSubstr("the running partition")));
    EXPECT_THAT(work.log(), AllOf(HasSubstr(test.log), HasSubstr(test.also_log)));
    EXPECT_FALSE(work.flash_holds_package());
    EXPECT_EQ(work.flash(PARTITION_1, 0x10000), bytes(0x10000));
  }
}

TEST(FirmwareUpdateFault, StatisticsOfAWrittenUpdateMayBeLost) {
  const Workplace work;
  const Result result =
      run(work.by_address(card_with(R"({"mailbox": {"requests": [{"event_id": 27, "from": 12, "message_id": 9}]}})")));
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr("write success"));
  EXPECT_THAT(work.log(), HasSubstr("the channel to the card failed, exit status 15\n"));
  EXPECT_THAT(result.err, HasSubstr("the card's next reset starts TARN-FW-BOARDTYPE-2.0.0"));
  EXPECT_TRUE(work.flash_holds_package());
}

// Without notices the card would be erased and the update would wait for a timer. The query that follows works.
TEST(FirmwareUpdateFault, ToolThatCannotHearNoticesChangesNothingOrEndsAtOnce) {
  constexpr const char* NOTHING = "failed: nothing was written to the flash, the running partition is untouched\n";
  constexpr const char* FOREIGN_FIRST = R"("notices": [{"payload": "02000000"}], )";
  struct {
    const char* notices;  // of the card
    const char* netlink;
    const char* cause;
    const char* flash;
  } const cases[] = {
      {"", R"("bind_errno": 98)", "the netlink socket cannot be bound: Address already in use\n", NOTHING},
      {"", R"("family": "no_id")", "the kernel names no number of the driver's notice family\n", NOTHING},
      {FOREIGN_FIRST, R"("notice_family_id": 99)", "ended at a netlink message of another family\n", NOTHING},
      {FOREIGN_FIRST, R"("notice": "short")", "ended at a malformed netlink message\n", NOTHING},
      {"", R"("notice": "error", "notice_from": 2)", "ended at a malformed netlink message\n", "image 1 of 2 "},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.netlink);
    const Workplace work;
    const Result result = run(
        work.with_next("eth0", std::string("{") + test.notices + R"("faults": {"netlink": {)" + test.netlink + "}}}"));
    EXPECT_EQ(result.status, 7) << result.out;
    EXPECT_THAT(result.err, AllOf(HasSubstr("cause: the card's answers cannot be heard: "), HasSubstr(test.cause),
                                  HasSubstr(test.flash)));
    EXPECT_THAT(result.out, HasSubstr(NEXT_OUT));
    EXPECT_EQ(work.flash(PARTITION_1, 0x10000), bytes(0x10000));
    const bool nothing = test.flash == NOTHING;
    EXPECT_EQ(testing::Matches(Contains(HasSubstr(" payload=13")))(result.log), !nothing) << "package header";
  }
}

}  // namespace
