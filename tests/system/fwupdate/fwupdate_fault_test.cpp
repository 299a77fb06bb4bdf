// What the card does wrong, seen by the real tool on each wire: status, line, log, flash, and a run lock that the next
// command gets. A card that stays silent is in fwupdate_silence_test.cpp, what the update itself makes of a failing
// card in the unit tests, where a tick takes no time.
#include <gmock/gmock.h>

#include "update_run.h"

namespace {

using kx_system::Result;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using update_run::bytes;
using update_run::Workplace;

struct fault_case {
  const char* faults;
  int status;
  const char* out;
  const char* log;
};

std::string card_with(const char* faults) {
  return std::string(R"({"update": {"erase_ms": 1, "read_back_ms": 1, "end_ms": 1}, "faults": )") + faults + "}";
}

void expect_outcome(const fault_case& test, const Workplace& work, const Result& result) {
  EXPECT_EQ(result.status, test.status) << result.out;
  EXPECT_THAT(result.out, HasSubstr(test.out));
  EXPECT_THAT(work.log(), HasSubstr(test.log));
  EXPECT_THAT(result.out, HasSubstr(update_run::NEXT_OUT)) << "the run lock is not free";
  EXPECT_EQ(work.flash_holds_package(), test.status == 0);
  EXPECT_EQ(work.flash(update_run::PARTITION_1, 0x10000), bytes(0x10000));
  if (test.status != 0) {
    EXPECT_THAT(result.out, Not(HasSubstr("write success")));
  }
}

TEST(FirmwareUpdateFault, ByName) {
  const fault_case cases[] = {
      {R"({"driver": {"requests": [{"type": 1, "from": 3, "count": 1, "errno": 5}]}})", 7, "ioctl error,ret=-1!\n",
       "****ret = 1 ****"},
      {R"({"update": {"sum_wrong": 4}})", 7, "crc failed! resent 3 times failed! try to exit!\n", "curcrc="},
  };
  for (const fault_case& test : cases) {
    SCOPED_TRACE(test.faults);
    const Workplace work;
    const Result result = kx_system::run(work.with_next("eth0", card_with(test.faults)));
    expect_outcome(test, work, result);
    EXPECT_THAT(result.err, HasSubstr("cause: "));
    EXPECT_THAT(work.log(), HasSubstr("****The update has failed. Please retry after a few minutes.****"));
  }
}

TEST(FirmwareUpdateFault, ByAddress) {
  const fault_case cases[] = {
      {R"({"mailbox": {"requests": [{"event_id": 27, "from": 2, "count": 1, "message_id": 9}]}})", 15,
       "send msg id: 0, but get reply msg id: 9.", "upd_info.auth = 1"},
      {R"({"mailbox": {"requests": [{"event_id": 27, "from": 3, "count": 1, "length": 2}]}})", 12,
       "reps_buf_len is 1, but reps_msg_len is 2", "KXPKGINFO write flash ok"},
      {R"({"update": {"erase_fails": 2, "write_fails": 2}})", 0, "write success", "write failed 2 try fix"},
      {R"({"update": {"notice_garbage": true, "sum_wrong": 1}})", 0, "write success", "crc failed 1try resent idx 0"},
  };
  for (const fault_case& test : cases) {
    SCOPED_TRACE(test.faults);
    const Workplace work;
    const Result result = kx_system::run(work.with_next(update_run::ADDRESS, card_with(test.faults)));
    expect_outcome(test, work, result);
    if (test.status != 0) {
      // The channel ended the process; the update still had its say.
      EXPECT_THAT(work.log(), HasSubstr("the channel to the card failed, exit status " + std::to_string(test.status)));
      EXPECT_THAT(result.err, HasSubstr("cause: the card"));
      EXPECT_THAT(result.err, HasSubstr("the running partition"));
    }
  }
}

TEST(FirmwareUpdateFault, StatisticsOfAWrittenUpdateMayBeLongerOrLost) {
  struct {
    const char* answer;
    const char* log;
  } const cases[] = {{R"("length": 41)", "====risc->host rx_cnt   tx_cnt   tx_err====\n"},
                     {R"("message_id": 9)", "the channel to the card failed, exit status 15\n"}};
  for (const auto& test : cases) {
    const Workplace work;
    const Result result = kx_system::run(work.by_address(card_with(
        (std::string(R"({"mailbox": {"requests": [{"event_id": 27, "from": 12, )") + test.answer + "}]}}").c_str())));
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, HasSubstr("write success"));
    EXPECT_THAT(work.log(), HasSubstr(test.log));
    EXPECT_THAT(result.err, HasSubstr("the card's next reset starts TARN-FW-BOARDTYPE-2.0.0"));
    EXPECT_TRUE(work.flash_holds_package());
  }
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
    const Result result = kx_system::run(
        work.with_next("eth0", std::string("{") + test.notices + R"("faults": {"netlink": {)" + test.netlink + "}}}"));
    EXPECT_EQ(result.status, 7) << result.out;
    EXPECT_THAT(result.err, HasSubstr(std::string("cause: the card's answers cannot be heard: ")));
    EXPECT_THAT(result.err, HasSubstr(test.cause));
    EXPECT_THAT(result.err, HasSubstr(test.flash));
    EXPECT_THAT(result.out, HasSubstr(update_run::NEXT_OUT));
    EXPECT_EQ(work.flash(update_run::PARTITION_1, 0x10000), bytes(0x10000));
    const bool nothing = test.flash == NOTHING;
    EXPECT_EQ(testing::Matches(Contains(HasSubstr(" payload=13")))(result.log), !nothing) << "package header";
  }
}

}  // namespace
