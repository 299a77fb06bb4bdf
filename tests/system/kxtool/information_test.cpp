// Card information and VF policy: every answer and every failure of the four commands, with the bytes that they send.
#include <gmock/gmock.h>

#include "system/cases.h"

namespace {

using namespace kx_system;

const std::string SERIAL = "sn_info eth0 sn_info";
const std::string MAC = "mac_info eth0 mac_info";
const std::string TEMP = "temp_info eth0 chip_temp";

std::string request(uint32_t reply_length, uint32_t payload_length, const std::string& payload) {
  return "ioctl interface=eth0 type=1 event_pid=self status=set event_id=39 route=3 reserved=0 reply=set "
         "reply_length=" +
         std::to_string(reply_length) + " reserved=0 payload_length=" + std::to_string(payload_length) +
         " payload=" + payload;
}

// The requests behind the three exchanges of start-up.
std::vector<std::string> requests(const Result& result) {
  std::vector<std::string> lines = result.log_of("ioctl interface=");
  return {lines.begin() + std::min<std::ptrdiff_t>(3, std::ssize(lines)), lines.end()};
}

std::string op_failure(uint32_t op, int result) {
  return R"({"faults": {"processor": {"requests": [{"op_code": )" + std::to_string(op) + R"(, "result": )" +
         std::to_string(result) + "}]}}}";
}

std::string information(const std::string& keys) {
  return R"({"information": {)" + keys + "}}";
}

TEST(SerialNumber, IsAskedOnceAndPrinted) {
  const auto result = check({"{}", SERIAL, 0, "sn=KX2601A00042\n"});
  EXPECT_THAT(requests(result), ElementsAre(request(29, 20, "0f00000000000000000000000000000000000000")));
  EXPECT_THAT(result.log_of("ioctl interface="),
              ElementsAre("ioctl interface=eth0 type=6 event_pid=self status=set event_id=39 route=3 reserved=0 "
                          "reply=set reply_length=8 reserved=0 payload_length=8 payload=0000000000000000",
                          "ioctl interface=eth0 type=0 event_pid=self status=set event_id=39 route=3 reserved=0 "
                          "reply=set reply_length=4 reserved=0 payload_length=0 payload=-",
                          request(8, 8, "00000000397a42c0"), testing::_));
  EXPECT_THAT(result.log_of("netlink"),
              ElementsAre("netlink_socket type=3", "netlink_bind family=16 port=self groups=0x0",
                          "netlink port=0 message=280000001000010000000000000000000301000012000200"
                          "746f6f6c735f66616d696c7900000000"));
  check_all({
      {information(R"("serial_number": "short")"), SERIAL, 0, "sn=short\n"},
      {information(R"("serial_number": "a\u001b[31mb\u00ff")"), SERIAL, 0, "sn=a?[31mb??\n"},
  });
}

TEST(SerialNumber, StatusesHaveTheirTexts) {
  const std::pair<const char*, const char*> cases[] = {
      {"-10", "PN data error!"},
      {"-9", "PN length error!"},
      {"-8", "FALSH write error!"},
      {"-7", "FALSH read error!"},
      {"-6", "FLASH get deveice error!"},
      {"-5", "No vpd info, please burn SN first!"},
      {"-4", "SN data error!"},
      {"-3", "SN length error!"},
      {"-2", "VPD initialize failed from flash!"},
      {"-1", "VPD get failed from JSON!"},
      {"1", "Other error!"},
      {"-11", "Other error!"},
  };
  for (const auto& [status, text] : cases) {
    check({information(std::string(R"("serial_number_status": )") + status), SERIAL, 1,
           std::string("sn_get_err: [kxtool_sn_get][#] sn get failed, reps.status = ") + status + ", " + text + "\n"});
  }
}

TEST(Information, WrongWordsPrintTheUsageLine) {
  const Case cases[] = {
      {"{}", "sn_info eth0", 1,
       "sn_get_err: [kxtool_sn_get][#] error, the parameter of sn_get should be (kxtool sn_info eth0 sn_info), please "
       "check!\nsn_get_info: [kxtool_sn_get][#] For more information run kxtool -h\n",
       "kxtool: sn_info: 'sn_info' is missing: 'sn_info -h' shows the words\n"},
      {"{}", "mac_info eth0 sn_info", 1,
       "mac_addr_get_err: [kxtool_mac_addr_get][#] error, the parameter of mac_addr_get should be (kxtool mac_info "
       "eth0 "
       "mac_info), please check!\n"
       "mac_addr_get_info: [kxtool_mac_addr_get][#] For more information run kxtool -h\n",
       "kxtool: mac_info: 'sn_info' stands where 'mac_info' must\n"},
      {"{}", "temp_info eth0 chip_temp x", 1,
       "temp_get_err: [kxtool_temp_get][#] error, the parameter of temp_get should be (kxtool temp_info eth0 "
       "chip_temp)\ntemp_get_info: [kxtool_temp_get][#] For more information run kxtool -h\n",
       "kxtool: temp_info: 'x' is one word too many\n"},
  };
  for (const Case& c : cases) {
    EXPECT_THAT(requests(check(c)), IsEmpty());
  }
}

TEST(MacAddresses, CountAndStatusDecide) {
  const auto result = check({R"({"information": {"macs": ["00:01:02:03:04:05", "fa:fb:fc:fd:fe:ff"]}})", MAC, 0,
                             "mac_addr_get_info: [kxtool_mac_addr_get][#] mac_addr_get_reps.mac_addr_num = 2\n"
                             "mac_addr[0]=00:01:02:03:04:05\nmac_addr[1]=fa:fb:fc:fd:fe:ff\n"});
  EXPECT_THAT(requests(result), ElementsAre(request(68, 4, "09000000")));
  const std::string count =
      "mac_addr_get_err: [kxtool_mac_addr_get][#] mac addr get failed, "
      "mac_addr_get_reps.mac_addr_num = ";
  check_all({
      {information(R"("mac_count": 0)"), MAC, 1, count + "0!\n"},
      {information(R"("mac_count": 11)"), MAC, 1, count + "11!\n"},
      {information(R"("mac_count": 65535)"), MAC, 1, count + "65535!\n"},
      {information(R"("mac_status": 1)"), MAC, 1, "mac_addr_get_err: [kxtool_mac_addr_get][#] mac addr get failed!\n"},
  });
}

TEST(Temperature, ThreeAttemptsDecide) {
  const std::string good = "current chip temperature: 150 (degree centigrade) \n";
  const std::string status = "temp_get_err: [temperature_read][#] temp get failed, temp_get_reps.status = 7!\n";
  const std::string last = "temp_get_err: [kxtool_temp_get][#] err chip temperature: ";
  const std::pair<Case, size_t> cases[] = {
      {{information(R"("temperatures": [150])"), TEMP, 0, good}, 1},
      {{R"({"information": {"temperatures": [151, 200, 150]}})", TEMP, 0, good}, 3},
      {{R"({"information": {"temperatures": [151, 152, 153, 20]}})", TEMP, 1, last + "153 (degree centigrade)!!\n"}, 3},
      {{R"({"information": {"temperatures": [150], "temperature_statuses": [7, 0]}})", TEMP, 0, status + good}, 2},
      {{R"({"information": {"temperature_statuses": [7]}})", TEMP, 1,
        status + status + status + last + "0 (degree centigrade)!!\n"},
       3},
  };
  for (const auto& [run, exchanges] : cases) {
    const std::vector<std::string> sent = requests(check(run));
    ASSERT_EQ(sent.size(), exchanges);
    EXPECT_EQ(sent[0], request(24, 20, "1200000000000000000000000000000000000000"));
  }
}

TEST(Information, ChannelFailuresAreReported) {
  const std::string timeout = "kxtools_err: [send_by_driver][#] BAR MSG OR VQ MSG ERR: time out, bar_or_vq_chan_ret = ";
  const std::string sn = "sn_get_err: [kxtool_sn_get][#] tarn_tools_send_msg failed, ret=";
  const std::string temp = "temp_get_err: [temperature_read][#] tarn_tools_send_msg failed, ret=12!\n";
  check_all({
      {op_failure(15, 18), SERIAL, 1, sn + "18!\n"},
      {op_failure(15, 6), SERIAL, 1, timeout + "6!\n" + sn + "6!\n"},
      {op_failure(15, -8), SERIAL, 1, timeout + "-8!\n" + sn + "-8!\n"},
      {op_failure(9, 12), MAC, 1, "mac_addr_get_err: [kxtool_mac_addr_get][#] tarn_tools_send_msg failed, ret=12!\n"},
      {op_failure(18, 12), TEMP, 1,
       temp + temp + temp + "temp_get_err: [kxtool_temp_get][#] err chip temperature: 0 (degree centigrade)!!\n"},
      {R"({"faults": {"driver": {"requests": [{"type": 1, "from": 1, "errno": 5}]}}})", SERIAL, 1,
       "kxtools_err: [send_by_driver][#] ioctl error,ret=-1!\n" + sn + "1!\n"},
      {R"({"faults": {"driver": {"requests": [{"type": 1, "from": 1, "status_flag": 2}]}}})", SERIAL, 1,
       "kxtools_err: [send_by_driver][#] the user message ioctl to kernel failed!\n" + sn + "1!\n"},
  });
}

// Every word is shown before it is looked at.
Case vf_case(const std::string& words, int status, const std::string& rest, const std::string& card = "{}") {
  std::string shown;
  int number = 0;
  for (const std::string& word : words_of(words)) {
    shown +=
        "kxtool_set_vf_status_info: [kxtool_set_vf_status][#] argp[" + std::to_string(number++) + "]: " + word + "\n";
  }
  return {card, "set_vf_status eth0 " + words, status, shown + rest};
}

TEST(VfStatus, WordsAreCheckedBeforeAnythingIsSent) {
  const std::string err = "kxtool_set_vf_status_err: [words_parse][#] ";
  const struct {
    const char* words;
    const char* said;
    const char* meant;
  } rows[] = {
      {"", "Insufficient arguments!\n", "set_vf_status: '--mode' is missing: 'set_vf_status -h' shows the words\n"},
      {"--mode all_vf --status", "Insufficient arguments!\n",
       "set_vf_status: a value is missing: 'set_vf_status -h' shows the words\n"},
      {"--mode all --status auto", "Invalid mode value!\n", "'all' is no mode: did you mean 'all_vf'?\n"},
      {"--mode all_vf --status on", "Invalid status value!\n", "'on' is no status: there are auto, enable, disable\n"},
      {"--status auto --mode all_vf", "Failed to parse arguments!\n",
       "set_vf_status: '--status' stands where '--mode' must\n"},
      {"--mode all_vf --status auto x", "Failed to parse arguments!\n", "set_vf_status: 'x' is one word too many\n"},
  };
  for (const auto& row : rows) {
    Case c = vf_case(row.words, 1, err + row.said);
    c.err = std::string("kxtool: ") + row.meant;
    EXPECT_THAT(requests(check(c)), IsEmpty());
  }
}

TEST(VfStatus, ModeAndStatusReachTheDriver) {
  const std::string sent = "kxtool_set_vf_status_info: [kxtool_set_vf_status][#] mode ";
  const std::string success =
      "kxtool_set_vf_status_info: [vf_status_send][#] kxtool_vf_status_set_msg msg ioctl to kernel success.\n";
  const std::string error = "kxtool_set_vf_status_err: [vf_status_send][#] ";
  const auto failing = [](const char* answer) {
    return std::string(R"({"faults": {"driver": {"requests": [{"type": 3, )") + answer + "}]}}}";
  };
  const std::pair<Case, const char*> cases[] = {
      {vf_case("--mode all_vf --status auto", 0, sent + "0, vf_status 0\n" + success), "0000000000000000"},
      {vf_case("--mode all_vf --status enable", 0, sent + "0, vf_status 1\n" + success), "0000000001000000"},
      {vf_case("--mode vf2_max --status disable", 0, sent + "1, vf_status 2\n" + success), "0100000002000000"},
      {vf_case("--mode all_vf --status auto", 1,
               sent + "0, vf_status 0\n" + error +
                   "ioctl error, first, check if the driver of eth0 is corvane10e, ret=-1!\n",
               failing(R"("errno": 5)")),
       "0000000000000000"},
      {vf_case("--mode all_vf --status auto", 1,
               sent + "0, vf_status 0\n" + error + "kxtool_vf_status_set_msg msg ioctl to kernel failed!\n",
               failing(R"("status_flag": 0)")),
       "0000000000000000"},
  };
  for (const auto& [run, payload] : cases) {
    EXPECT_THAT(requests(check(run)),
                ElementsAre(AllOf(HasSubstr(" type=3 event_pid=self status=set "),
                                  HasSubstr(std::string(" payload_length=8 payload=") + payload))));
  }
}

}  // namespace
