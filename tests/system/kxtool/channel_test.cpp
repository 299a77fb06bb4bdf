// Bring-up of both channels: every failure of driver and mailbox.
#include <gmock/gmock.h>

#include "system/cases.h"

namespace {

using namespace kx_system;

const std::string SN = "sn_info eth0 sn_info";
const std::string UPDATE = "fwupdate 0000:3b:00.0 version";

std::string driver_compat(const std::string& keys) {
  return R"({"driver": {"compat": {)" + keys + "}}}";
}
std::string driver_fault(const std::string& keys) {
  return R"({"faults": {"driver": {"requests": [{)" + keys + "}]}}}";
}
std::string mailbox_fault(const std::string& keys) {
  return R"({"faults": {"mailbox": {"requests": [{)" + keys + "}]}}}";
}

TEST(Driver, BringUpFailuresEndTheCommand) {
  const std::string version =
      "kxtools_err: [tarn_tools_socket_init][#] kxtool_drv_version_check fail!\n"
      "kxtools_err: [driver_open][#] tarn_tools_socket_init failed, ret=-1!\n";
  const std::string compat = "kxtools_err: [driver_compat_check][#] ";
  const std::string check_fn = "kxtools_err: [kxtool_drv_version_check][#] ";
  const std::string registration = "kxtools_err: [tarn_tools_event_info_register][#] ";
  const std::string op0 =
      "\033[31mmsg_chan_err: [kxtool_pcieid_send_ostype_get][#]dev_pcieid send to riscv failed or "
      "check error!\033[m\n";
  const std::string failed = "kxtools_err: [driver_open][#] tarn_tools_event_info_register failed, ret=";
  check_all({
      {driver_compat(R"("item": 1)"), SN, 1, compat + "version_compat_item is not kxtool!\n" + version},
      {driver_compat(R"("major": 2, "tool_minor": 1)"), SN, 1, compat + "tool major:0 is not match drv:2!\n" + version},
      {driver_compat(R"("tool_minor": 1)"), SN, 1, compat + "tool tool_minor:0 is lower than drv:1!\n" + version},
      {driver_compat(R"("drv_minor": 255)"), SN, 0, "sn=KX2601A00042\n"},
      {driver_compat(R"("present": false)"), SN, 0,
       check_fn + "Warning: No driver compatibility information available!\nsn=KX2601A00042\n"},
      {driver_fault(R"("type": 6, "errno": 25)"), SN, 1, check_fn + "ioctl error, ret = -1!\n" + version},
      {R"({"functions": {"0000:3b:00.0": {"driver": "other"}}})", SN, 1,
       check_fn + "ioctl error, ret = -1!\n" + version},
      {driver_fault(R"("type": 6, "status_flag": 7)"), SN, 1,
       check_fn + "kxtool_kernel_version msg ioctl to kernel failed! ERROR:7!\n" + version},
      {driver_fault(R"("type": 0, "errno": 16)"), SN, 1,
       registration + "ioctl error, first, check if the driver of eth0 is corvane10e, ret=-1, errno = 16!\n" +
           registration + "if so, check if kxtool with the eth0 is running, not allowed another!\n" + failed + "1!\n"},
      {driver_fault(R"("type": 0, "errno": 16, "count": 3)"), SN, 0, "sn=KX2601A00042\n"},  // the one before was ending
      {driver_fault(R"("type": 1, "errno": 5)"), SN, 1,
       "kxtools_err: [send_by_driver][#] ioctl error,ret=-1!\n" + op0 + failed + "-1!\n"},
      {R"({"information": {"wrong_check_word": true}})", SN, 1, op0 + failed + "-1!\n"},
      {R"({"information": {"os_type_status": 1}})", SN, 1, op0 + failed + "-1!\n"},
      {driver_fault(R"("type": 0, "status_flag": 0)"), SN, 1,
       MatchesRegex("kxtools_err: .tarn_tools_event_info_register..#. the event_pid [0-9]+  of event_id "
                    "39 ioctl to kernel failed!\n.*")},
  });
}

TEST(Driver, ATableOfDescriptorsThatIsFullEndsTheCommand) {
  const auto result = run(script("exec 3<&- 4<&-; ulimit -n 6; exec $KXTOOL sn_info eth0 sn_info"));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(without_line_numbers(result.out),
            "kxtools_err: [tarn_tools_socket_init][#] Cannot get generic netlink socket!\n"
            "kxtools_err: [driver_open][#] tarn_tools_socket_init failed, ret=-1!\n");
}

TEST(Mailbox, BringUpTalksToTheCardInTheStatedBytes) {
  for (const char* layout : {"0", "1", "7", "2", "255"}) {
    const auto result =
        run({.card = std::string(R"({"bar0": {"layout_byte": )") + layout + "}}", .words = words_of(UPDATE)});
    EXPECT_EQ(result.status, 6) << layout << result.out;
    EXPECT_THAT(result.log_of("mailbox header"),
                ElementsAre("mailbox header=010027000800000000000000 payload=0000000000000000"));
    EXPECT_THAT(result.log_of("ioctl"), IsEmpty());
  }
}

TEST(Mailbox, ANoticeNobodyKnowsIsReportedAndAcknowledgedEmpty) {
  Process shell({.card = R"({"notices": [{"payload": "0c000000 01"}],
                                        "faults": {"mailbox": {"requests": [{"event_id": 27, "never_answers": true}]}}})",
                 .input = "0\nsu opsu\nkxtool fwupdate 0000:3b:00.0 version\n"});
  EXPECT_TRUE(shell.expect("op_code 12 was not found!")) << shell.output();
  EXPECT_TRUE(shell.expect_log("notice_done header=080027000000000000000000"));
}

// A notice that nobody takes (13) and a card that stays silent (6) are seen during updates, and 6 at the bring-up in
// slow_test.cpp. No card causes the codes of a wrong caller: descriptors (1, 2, 3, 4, 5, 11, 14) are in
// ChecksTheDescriptorsInOrderAndWritesNothing, the request that no command makes (-20) in
// ABarOffsetsTokenIsTheSumOfTheRequestBytes, the registry (3, 8, 9, 10) in KeepsOneCallbackAnEvent, the ring and the
// spin lock (-1) and slot registers (-99) in mailbox_tables_test.cpp, headers of notices (3, 5, 13) in
// ChecksTheHeaderAndLeavesABadMessageInPlace.
TEST(Mailbox, AFailedExchangeEndsTheProcessWithItsCode) {
  const std::string red = "\033[31mmsg_chan_err: ";
  const std::string init = "kxtools_err: [mailbox_open][#] \r****Bar channel initialization has failed ret=-1****\n";
  check_all({
      {mailbox_fault(R"("message_id": 7)"), UPDATE, 15,
       red + "[reply_take][#]send msg id: 0, but get reply msg id: 7.\033[m\nBAR MSG SEND ERR:ret 15 !\n"},
      {mailbox_fault(R"("length": 9)"), UPDATE, 12,
       red + "[reply_take][#]reps_buf_len is 8, but reps_msg_len is 9\033[m\nBAR MSG SEND ERR:ret 12 !\n"},
      {mailbox_fault(R"("length": 2)"), UPDATE, 1,
       red + "[kxtool_pcieid_send_ostype_get][#]dev_pcieid send to riscv failed or check error!\033[m\n" + init},
      {R"({"information": {"wrong_check_word": true}})", UPDATE, 1,
       red + "[kxtool_pcieid_send_ostype_get][#]dev_pcieid send to riscv failed or check error!\033[m\n" + init},
      {R"({"bar0": {"size": "0xf0fff8"}})", UPDATE, 1,
       "mts_err: [area_prepare][#]BAR 0 of 0000:3b:00.0 has only 0xf0fff8 bytes, the message area lies behind its "
       "end\n" +
           init},
  });
}

}  // namespace
