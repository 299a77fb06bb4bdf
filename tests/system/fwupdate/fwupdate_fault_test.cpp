// What the card does wrong, seen by the real tool on each wire: status, line, log, flash, and a run lock that the next
// command gets. A card that stays silent is in fwupdate_silence_test.cpp, what the update itself makes of a failing
// card in the unit tests, where a tick takes no time.
#include <gmock/gmock.h>

#include "update_run.h"

namespace {

using kx_system::Result;
using testing::HasSubstr;
using testing::Not;
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
  EXPECT_EQ(work.flash(update_run::PARTITION_1, 0x10000), update_run::bytes(0x10000));
  if (test.status != 0) {
    EXPECT_THAT(result.out, Not(HasSubstr("write success")));
  }
}

TEST(FirmwareUpdateFault, ByName) {
  const fault_case cases[] = {
      {R"({"processor": {"requests": [{"event_id": 27, "from": 4, "count": 1, "result": -8}]}})", 7,
       "BAR MSG OR VQ MSG ERR: time out, bar_or_vq_chan_ret = -8!\n", "tx by bar chan err"},
      {R"({"driver": {"requests": [{"type": 1, "from": 3, "count": 1, "errno": 5}]}})", 7, "ioctl error,ret=-1!\n",
       "****ret = 1 ****"},
      {R"({"driver": {"requests": [{"type": 1, "from": 3, "count": 1, "status_flag": 0}]}})", 7,
       "the user message ioctl to kernel failed!\n", "the package header was not taken"},
      {R"({"update": {"sum_wrong": 4}})", 7, "crc failed! resent 3 times failed! try to exit!\n", "curcrc="},
  };
  for (const fault_case& test : cases) {
    SCOPED_TRACE(test.faults);
    const Workplace work;
    const Result result = kx_system::run(work.with_next("eth0", card_with(test.faults)));
    expect_outcome(test, work, result);
    EXPECT_THAT(work.log(), HasSubstr("****The update has failed. Please retry after a few minutes.****"));
  }
}

TEST(FirmwareUpdateFault, ByAddress) {
  const fault_case cases[] = {
      {R"({"mailbox": {"requests": [{"event_id": 27, "from": 2, "count": 1, "message_id": 9}]}})", 15,
       "send msg id: 0, but get reply msg id: 9.", "upd_info.auth = 1"},
      {R"({"mailbox": {"requests": [{"event_id": 27, "from": 3, "count": 1, "length": 2}]}})", 12,
       "reps_buf_len is 1, but reps_msg_len is 2", "KXPKGINFO write flash ok"},
      {R"({"mailbox": {"requests": [{"event_id": 27, "count": 1, "length": 79}]}})", 12, "BAR MSG SEND ERR:ret 12 !\n",
       "fwupdate pid is "},
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
      EXPECT_THAT(result.err, HasSubstr("the running partition"));
    }
  }
}

TEST(FirmwareUpdateFault, LostStatisticsOfAWrittenUpdateAreNoFailedUpdate) {
  const Workplace work;
  const Result result = kx_system::run(
      work.by_address(card_with(R"({"mailbox": {"requests": [{"event_id": 27, "from": 12, "length": 41}]}})")));
  EXPECT_EQ(result.status, 12) << result.out;
  EXPECT_THAT(result.out, HasSubstr("write success"));
  EXPECT_THAT(work.log(), HasSubstr("the channel to the card failed, exit status 12"));
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(work.flash_holds_package());
}

TEST(FirmwareUpdateFault, RefusalEndsWithItsOwnStatusAndLeavesTheLockFree) {
  const Workplace work;
  const Result result = kx_system::run({.card = R"({"update": {"authorises": false}})",
                                        .input = "0\n" + work.line("eth0") + "kxtool fwupdate eth0 part\nquit\n",
                                        .state = work.folder.path()});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.out, HasSubstr("active partition: 1\n"));
  EXPECT_THAT(work.log(), HasSubstr("risc refuse to update"));
}

}  // namespace
