// Every command of kxvqm with good words, none, too many and rubbish.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/session.h"

namespace {

using namespace kx_system;

using session::plain;

/// The module and its commands that scripts know, in order: '/' before what belongs to the group above, '*' behind what
/// is for the super user.
constexpr const char* NAMES =
    "kxvqm rd rx rxst tx txst rxtop* txctrl* pktst* msix* usedbuff* msixst* qfcst* used_ring_st* int* version* "
    "vqm_clear* status show_alarm show_config res_state* aximle* ost* show_all* check_vqm bdf* vf enqs* qp* vring "
    "debug* rdesc_sel* idtrans_sel* vqm_print_zero* ost* "
    "glb /version /date /int_st* /int_test* /cq_int_event* /cq_int_mask* /alarm_int_event* /alarm_int_mask* "
    "/test_mode* /test_clr* /ep_st_id* /cq_notify_addr* /cq_cur_addr* /vf_addr* /hq_addr* /cq_addr* /bus_reg* "
    "/local_rdesc* /host_addr* /oam* "
    "host /device_feature_sel* /device_feature* /guest_feature_sel* /guest_feature* /msix_queue_num* "
    "/status_queue_sel* /queue_size_msix* /queue_enable_notify* /queue_ring_addr* /device_mac* /device_state* "
    "/device_max_q_pairs* /device_speed* /device_duplex_rss* /device_hash_type* /queue_notify_data* /vf_latch* "
    "/common_cfg* /notify_cfg* /device_num_queues* /vq_num_max* /alarm_st* /vqm_duplex_rss* /vf_state_en* "
    "/vf_state_mask* /vqm_glb_sq_reg* /risc_rd_qsize_reg* /support_feature /kick_cnt_oam* /cfg_axim_cnt_oam* "
    "/oam_st* /lock_sel* /lock_q_st* /pf_vf_start_vfid* /vf_cfg* /q_notify_data* "
    "rdesc /debug* /oam_buf_sel* /state* /cnt_clear* /push_lock_qid_en* /desc_alarm_mask* /desc_alarm_event* "
    "/desc_alarm_st* /c_desc_cnt_oam* /c_split_axim_cnt_oam* /c_desc_axim_cnt_oam* /arbitor_state* /req_cnt_oam* "
    "/rx_cnt_oam* /aximr_err_cnt_oam* /desc_len_err_oam* /split_link_num* /split_link_rst* /split_link_oam_st* "
    "/split_link_eng_qid* /cmdbuf_afull* /packed_mode* /split_mode* /oam_buf* /avail_last_idx* "
    "qman /sel /hard_st* /vqm_aging_en* /qe_free_th* /desc_ctrl_reg* /qman_tx_desc_ctrl* /qman_desc_auto_ctrl_a* "
    "/qman_desc_auto_ctrl_b* /rx_max_limit* /tx_qman_limit* "
    "qfc /oam* /sys_clk /fc_us_num /port_fc_en /qman_aging_t* /desc_link_max* /port_fc_flmax /vf_fc_en /q_fc_pri* "
    "/tx_q_port_se* /vf_fc_flmax "
    "bman /clear_err* /clear_suc* /cnt /wrst* /pktst /pdst* /bbst* /bdst* /disc* /disc_ctrl* /buff /qeid_st "
    "/queue_eng_st* /qafull_cfg* /pkt_discard_cnt "
    "tx_aximr /ramst* /descst* /cmdst* /datast* /topst* /combinest* "
    "rx_aximw /data_ram* /cmd_ram* /used_ram* /pd_ram* /work_st* /interface_st* /desc_st* /bman_st* /used_st* "
    "wr_used_vring /msix_buff* /ring_buff* /msix_st* /qfc_st* /eng_st* /qageing /msix_sel "
    "trpg /rx /rxst /tx /txst /rxtop* /txctrl* /pktst* /rxclr* /txclr* /pktgen* "
    "hot /pd* /data* /cmd* /work* "
    "cnt /vf /enqs* /qp* others "
    "axim /ier* /imr* /itr* /wpeir* /rpeir* "
    "MODE /PA* /PL* /PE* "
    "barchan /bind_bdf* /send_ovs_msg*";

constexpr const char* GROUPS =
    "glb host rdesc qman qfc bman tx_aximr rx_aximw wr_used_vring trpg hot cnt axim MODE others barchan";

/// A command as the module's help lists it.
struct listed {
  std::string name;
  bool has_index;   // "+ [vf]"
  size_t settable;  // "(+ [first] [second])"
};

listed read_listed(const std::string& line) {
  listed result = {};
  const size_t help = line.find_first_of("+(", 0);
  const std::string name = line.substr(0, std::min(help, size_t{65}));
  result.name = name.substr(0, name.find_last_not_of(' ') + 1);
  if (line.size() > 65) {
    const std::string text = line.substr(65);
    const size_t set = text.find("(+ ");
    result.has_index = text.find("+ [") < set;
    result.settable = set == std::string::npos
                          ? 0
                          : static_cast<size_t>(std::count(text.begin() + static_cast<long>(set), text.end(), '['));
  }
  return result;
}

TEST(VqmCommands, AreListedByLevel) {
  for (const bool super : {false, true}) {
    std::vector<std::string> names;
    std::string group;
    const auto session = session::run("{}", {"kxvqm"}, super);
    for (const std::string& line : lines_of(session.outputs.at(0))) {
      const std::string name = read_listed(line).name;
      const std::string in_group = "kxvqm " + group + " ";
      if (name.starts_with(in_group)) {
        names.push_back("/" + name.substr(in_group.size()));
      } else {
        group = name.substr(name.starts_with("kxvqm ") ? 6 : 0);
        names.push_back(group);
      }
    }
    auto at = names.begin();
    for (const std::string& name : words_of(NAMES)) {
      const auto found = std::find(at, names.end(), name.substr(0, name.find('*')));
      EXPECT_EQ(found != names.end(), super || name.back() != '*') << name;
      at = found != names.end() ? found + 1 : at;
    }
  }
}

// The commands of the groups are tried as their group's help says they want to be used.
TEST(VqmCommands, TakeTheWordsThatTheirHelpNames) {
  std::vector<std::string> helps;
  for (const std::string& group : words_of(GROUPS)) {
    helps.push_back("kxvqm " + group);
  }
  std::vector<listed> all;
  const auto help = session::run("{}", helps);
  for (size_t i = 0; i < helps.size(); ++i) {
    const std::vector<std::string> lines = lines_of(help.outputs[i]);
    EXPECT_THAT("kxvqm " + lines.at(0), StartsWith(helps[i] + " "));
    EXPECT_EQ(lines[0].size(), 65u);
    for (size_t command = 1; command < lines.size() && helps[i] != "kxvqm barchan"; ++command) {
      all.push_back(read_listed(lines[command]));
    }
  }
  ASSERT_GE(all.size(), 164u);

  std::vector<std::string> lines;
  for (const listed& command : all) {
    const std::string start = "kxvqm " + command.name + (command.has_index ? " 2" : "");
    std::string values;
    for (size_t i = 0; i < command.settable; ++i) {
      values += " 0x1";
    }
    lines.insert(lines.end(), {start, start + values, start + values + " 1", "kxvqm " + command.name + " rubbish",
                               "kxvqm " + command.name + (command.has_index ? "" : " 1 1 1 1 1 1 1 1 1"),
                               "kxvqm " + command.name + " 0xffffffffffffffff"});
  }
  const auto session = session::run("{}", lines, true);
  EXPECT_EQ(session.result.status, 255) << "the markers fail, the commands do not";
  for (size_t i = 0; i < all.size(); ++i) {
    SCOPED_TRACE(all[i].name);
    const std::string* out = &session.outputs[6 * i];
    const bool clears = plain(out[0]).find(" done\n") != std::string::npos;
    EXPECT_TRUE(clears || plain(out[0]).find("\n  ") != std::string::npos) << out[0];
    EXPECT_THAT(out[1], Not(HasSubstr("Error")));
    EXPECT_THAT(out[2], StartsWith("kx_vqm Error: num of parameters is too much.\n"));
    if (all[i].has_index || all[i].settable == 1) {
      EXPECT_THAT(out[3], StartsWith("kx_vqm Error: para[rubbish] illegal.\n"));
      // Only a register of 64 bits holds this number.
      EXPECT_THAT(plain(out[5]),
                  AnyOf(StartsWith("kx_vqm Error: para[-1] out of range [0, "), EndsWith(": 0xffffffffffffffff\n")));
    } else {
      EXPECT_THAT(out[3], StartsWith("kx_vqm Error: num of parameters is too "));
    }
    EXPECT_THAT(out[4], StartsWith(all[i].has_index ? "kx_vqm Error: num of parameters is too less.\n"
                                                    : "kx_vqm Error: num of parameters is too much.\n"));
    EXPECT_GT(lines_of(out[2]).size(), 2u) << "the group's help follows";
  }
}

TEST(VqmCommands, InNoGroupAnswerToo) {
  const std::pair<const char*, const char*> cases[] = {
      {"rd", "[rdesc state]\n"},
      {"rx", "[packets received]\n"},
      {"rxst", "[receive state]\n"},
      {"tx", "[packets sent]\n"},
      {"txst", "[transmit state]\n"},
      {"rxtop", "[receive top state]\n"},
      {"txctrl", "[transmit control]\n"},
      {"pktst", "[packet state]\n"},
      {"msix", "[msix buffer]\n"},
      {"usedbuff", "[used ring buffer]\n"},
      {"msixst", "[msix state]\n"},
      {"qfcst", "[flow control state]\n"},
      {"used_ring_st", "[used write state]\n"},
      {"int", "[int status]\n"},
      {"version", "[vqm version]\n  version id                  : 0x20250129\n[vqm date]\n"},
      {"vqm_clear", "test clear done\nrdesc counter clear done\n"},
      {"status", "[int status]\n"},
      {"show_alarm", "[alarm int event]\n"},
      {"show_config", "[test mode]\n"},
      {"res_state", "[buffers allocated]\n"},
      {"aximle", "[write parity errors]\n"},
      {"ost", "[tx outstanding]\n  reads                       : 0x0\n  limit                       : 0x40\n"},
      {"show_all", "[vqm version]\n"},
      {"check_vqm", "vqm check ok\n"},
      {"bdf", "[vqm bdf]\n"},
      {"enqs 1192", "[enqueued descriptors]\n"},
      {"qp 4095", "[send packets]\n"},
      {"vring 0", "[ring state]\n"},
      {"debug open", "[debug control]\n  enable                      : 0x1\n"},
      {"debug close", "[debug control]\n  enable                      : 0x0\n"},
      {"debug show", "[debug control]\n"},
      {"rdesc_sel 0x2001", "[descriptor select]\n  queue                       : 0x1\n"},
      {"idtrans_sel 0x3005", "[id translation select]\n  vf                          : 0x5\n"},
      {"vqm_print_zero 0", ""},
      {"glb int_st", "[int status]\n"},
      {"vqm_print_zero 1", ""},
      {"rx 1", "kx_vqm Error: num of parameters is too much.\nrx "},
      {"vqm_clear 1", "kx_vqm Error: num of parameters is too much.\nvqm_clear "},
      {"show_all 1", "kx_vqm Error: num of parameters is too much.\n"},
      {"check_vqm 1", "kx_vqm Error: num of parameters is too much.\n"},
      {"enqs", "kx_vqm Error: num of parameters is too less.\nenqs "},
      {"enqs 1193", "kx_vqm Error: para[1193] out of range [0, 1192].\n"},
      {"qp 4096", "kx_vqm Error: para[4096] out of range [0, 4095].\n"},
      {"debug", "kx_vqm Error: num of parameters is too less.\n"},
      {"debug maybe", "kx_vqm Error: para[maybe] illegal.\n"},
      {"vqm_print_zero", "kx_vqm Error: num of parameters is too less.\n"},
      {"vqm_print_zero 2", "kx_vqm Error: para[2] out of range [0, 1].\n"},
      {"others", "others "},
      {"others x", "others "},
      {"barchan bind_bdf", "kx_vqm Error: num of parameters is too less.\nbarchan "},
      {"barchan bind_bdf 1 2", "kx_vqm Error: num of parameters is too much.\n"},
      {"barchan bind_bdf rubbish", "kx_vqm Error: para[rubbish] illegal.\n"},
      {"barchan bind_bdf 0000:00:1f.6", "kx_vqm Error: para[0000:00:1f.6] illegal.\n"},
      {"barchan bind_bdf 0000:3b:00.1", "message channel bound to 0000:3b:00.1\n"},
      {"barchan send_ovs_msg 39", "kx_vqm Error: num of parameters is too less.\n"},
      {"barchan send_ovs_msg 41 1", "kx_vqm Error: para[41] out of range [0, 40].\n"},
      {"barchan send_ovs_msg 39 x", "kx_vqm Error: para[x] illegal.\n"},
      {"barchan send_ovs_msg 39 0 0x1234", "  word 0  : 0x"},
  };
  std::vector<session::Row> rows;
  for (const auto& [line, starts] : cases) {
    rows.push_back({line, StartsWith(starts)});
  }
  const auto session = session::expect_shows("{}", "kxvqm ", rows, true);
  EXPECT_EQ(plain(session.outputs[34]), "[int status]\n") << "zero fields are not printed now";
  EXPECT_EQ(session.result.log_of("mailbox ").size(), 1u);
}

}  // namespace
