// Limits that take their time: the mailbox's ten seconds, the receiver's twenty, the run lock's minute. Each is a CTest
// entry of its own, so that they wait side by side.
#include <gmock/gmock.h>

#include "system/cases.h"

namespace {

using namespace kx_system;

TEST(SlowMailbox, ACardThatNeverAnswersEndsTheCommandWithSix) {
  const auto result =
      check({R"({"faults": {"mailbox": {"requests": [{"never_answers": true}]}}})", "fwupdate 0000:3b:00.0 version", 6,
             "\033[31mmsg_chan_err: [slot_exchange][#]BAR MSG ERR: msg_id: 0 time out.\033[m\n"
             "BAR MSG SEND ERR:ret 6 !\n"});
}

TEST(SlowReceiver, AFamilyThatDoesNotExistEndsTheCommand) {
  check({R"({"faults": {"netlink": {"family": "unknown"}}})", "sn_info eth0 sn_info", 1,
         "kxtools_err: [tarn_genl_get_family_id][#] ans.nlh.nlmsg_type=2, error!\n"
         "kxtools_err: [tarn_tools_netlink_recv_msg][#] Get family_id of generic netlink failed, family_id=-1!\n"
         "mts_err: [tarn_tools_netlink_start][#]wait_recv_ready_time = 20001\n"});
}

TEST(SlowLock, ASecondToolGivesUpAfterAMinute) {
  const auto result = run(script(
      "flock /tmp/kxtool/kxts_lock_eth0 sleep 150 & sleep 0.3; $KXTOOL sn_info eth0 sn_info; echo status $?; kill $!"));
  EXPECT_EQ(without_line_numbers(result.out),
            "kxtools_err: [kxtool_flock_lock][#] device eth0 is still in use by another kxtool command!\nstatus 1\n");
  EXPECT_TRUE(result.log_of("ioctl").empty());
}

}  // namespace
