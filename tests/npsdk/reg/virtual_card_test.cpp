// The driver's registers on the virtual card's network processor: the two are written apart, and here they meet. The
// memories behind the windows meet in the tests of the diagnostic commands.

#include <string_view>

#include "card_device.h"
#include "dpp_reg/dpp_reg_types.h"

namespace {

bool ends_with(const char* name, std::string_view end) {
  return std::string_view(name).ends_with(end);
}

// Described registers hold their reset values. Configuration keeps what is written, and states do not.
TEST_F(OnVirtualCard, RegistersAreOfTheirKind) {
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM; ++reg_no) {
    const dpp_reg_info& info = *dpp_reg_info_get(reg_no);
    const char* name = dpp_reg_name_get(reg_no);
    if (!dpp_reg_is_described(info)) {
      continue;
    }
    uint32_t defaults[DPP_REG_FIELD_MAX];
    uint32_t first[DPP_REG_FIELD_MAX];
    uint32_t before[DPP_REG_FIELD_MAX];
    const uint32_t m = info.m_size - 1;
    const uint32_t n = info.n_size - 1;
    dpp_reg_default_val_get(reg_no, defaults);
    ASSERT_EQ(dpp_reg_read(0, reg_no, 0, 0, first), 0u);
    ASSERT_EQ(dpp_reg_read(0, reg_no, m, n, before), 0u);
    // Windows are in use here, and entry 0 of the feature words is the card's own.
    const bool changes = ends_with(name, "_ind_status") || ends_with(name, "_ind_cmd") ||
                         ends_with(name, "_ind_data") || reg_no == dpp_regs::mcode_feature::NUMBER;
    for (uint32_t i = 0; i < info.field_num && !changes; ++i) {
      ASSERT_EQ(first[i], defaults[i]) << name << " field " << i;
      ASSERT_EQ(before[i], defaults[i]) << name << " field " << i;
    }
    const bool acts = ends_with(name, "_ind_cmd") || ends_with(name, "_cap_en") || ends_with(name, "_cap_clr") ||
                      ends_with(name, "_dbg_ctrl") || ends_with(name, "_pkt_send");
    const bool behind_window = info.access == DPP_REG_ACCESS_TM || info.access == DPP_REG_ACCESS_SE_ALG;
    if (acts || behind_window) {
      continue;
    }
    uint32_t written[DPP_REG_FIELD_MAX];
    uint32_t after[DPP_REG_FIELD_MAX];
    dpp_reg_rand_val_get(reg_no, written);
    ASSERT_EQ(dpp_reg_write(0, reg_no, m, n, written), 0u);
    ASSERT_EQ(dpp_reg_read(0, reg_no, m, n, after), 0u);
    const bool configuration = dpp_reg_fields_get(info)[0].flag == DPP_FIELD_FLAG_CFG;
    // Window data and states inside a window's 4 KiB are plain words.
    const bool plain_state = !configuration && dpp_4k_reg(info.mod_no);
    for (uint32_t i = 0; i < info.field_num && !plain_state; ++i) {
      ASSERT_EQ(after[i], configuration ? written[i] : before[i]) << name << " field " << i;
    }
  }
}

TEST_F(OnVirtualCard, CountersClearWhenReadAndInterruptsWhereOnesAreWritten) {
  insert(R"({"registers": {"0x14000": 7, "0x14004": 9, "0x13000": 5}})");
  EXPECT_EQ(value(&dpp_regs::pktrx_int_status::pfu_ovf), 1u);
  set(dpp_regs::pktrx_int_status::NUMBER, 0, 0, {0, 0, 1, 0, 0});
  EXPECT_EQ(value(&dpp_regs::pktrx_int_status::pfu_ovf), 0u);
  EXPECT_EQ(value(&dpp_regs::pktrx_int_status::len_err), 1u);
  uint32_t pair[2];
  ASSERT_EQ(dpp_reg_read(0, dpp_regs::pktrx_stat_isch_i_port_cnt::NUMBER, 0, 0, pair), 0u);
  EXPECT_EQ(pair[0], 7u);
  EXPECT_EQ(pair[1], 9u);
  EXPECT_EQ(value(&dpp_regs::pktrx_stat_isch_i_port_cnt::isch_i_sop_cnt), 0u);
}

TEST_F(OnVirtualCard, CountersAdvanceAtTheirRate) {
  insert(R"({"counter_rate": 1000000000})");
  uint32_t sum = 0;
  for (int i = 0; i < 1000000 && sum == 0; ++i) {
    sum = value(&dpp_regs::mr_rx_pkt_cnt::rx_pkt_cnt);
  }
  EXPECT_NE(sum, 0u);
}

// Counts, versions and features are looked at where commands print them.
TEST_F(OnVirtualCard, CardFileSetsPorts) {
  insert(R"({"ports": {"16": {"receive_packets": 2, "link_up": false}}})");
  for (int look = 0; look < 2; ++look) {  // a count that a read does not clear
    EXPECT_EQ(value(&dpp_regs::trpg_rx_port_pkt_num::rx_pkt_num_l, 0, 16), 2u);
  }
  EXPECT_EQ(value(&dpp_regs::trpg_port_status_info::link_up, 0, 16), 0u);
  EXPECT_EQ(value(&dpp_regs::trpg_port_status_info::link_up, 0, 15), 1u);
}

TEST_F(OnVirtualCard, CardFileRefusesWhatIsNoRegisterOrPort) {
  for (const char* text : {R"({"ports": {"31": {}}})", R"({"registers": {"0x3": 1}})", R"({"registers": {"x": 1}})",
                           R"({"eram": {"0x80000": "00"}})", R"({"what": 1})"}) {
    insert(text);
    EXPECT_FALSE(file_->complaints().empty()) << text;
  }
}

TEST_F(OnVirtualCard, CaptureTakesAPacketThatItsFilterNames) {
  set(dpp_regs::pbu_cap_filter_smac::NUMBER, 0, 0, {0x0000AABB, 0xCCDDEEFF});
  set(dpp_regs::pbu_cap_filter_en::NUMBER, 0, 0, {0, 1, 0, 0});
  set(dpp_regs::pbu_cap_en::NUMBER, 0, 0, {1});
  EXPECT_EQ(value(&dpp_regs::pbu_cap_status::cap_full), 1u);
  EXPECT_EQ(value(&dpp_regs::pbu_cap_status::cap_len), 64u);
  EXPECT_EQ(value(&dpp_regs::pbu_cap_data::cap_data, 0, 2), 0xCCDDEEFFu);
  set(dpp_regs::pbu_cap_clr::NUMBER, 0, 0, {1});
  EXPECT_EQ(value(&dpp_regs::pbu_cap_status::cap_full), 0u);
  EXPECT_EQ(value(&dpp_regs::pbu_cap_data::cap_data, 0, 2), 0u);
}

}  // namespace
