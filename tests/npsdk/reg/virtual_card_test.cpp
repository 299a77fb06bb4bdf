// The driver's registers on the virtual card's network processor: the two are written apart, and here they meet.

#include <algorithm>
#include <utility>

#include "card_device.h"
#include "dpp_reg/dpp_reg_access.h"
#include "dpp_reg/dpp_reg_no.h"

namespace {

template <typename... Values>
void set(uint32_t reg_no, uint32_t n, Values... v) {
  const uint32_t values[] = {static_cast<uint32_t>(v)...};
  EXPECT_EQ(dpp_reg_write(0, reg_no, 0, n, values), 0u);
}

bool ends_with(const char* name, std::string_view end) {
  return std::string_view(name).ends_with(end);
}

TEST_F(OnVirtualCard, DescribedRegistersHoldTheirResetValues) {
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM; ++reg_no) {
    const dpp_reg_info& info = *dpp_reg_info_get(reg_no);
    // Entry 0 of the feature words is the card's own.
    if (!dpp_reg_is_described(info) || reg_no == DPP_REG_MCODE_FEATURE) {
      continue;
    }
    const uint32_t places[][2] = {{0, 0}, {info.m_size - 1, info.n_size - 1}};
    for (const auto& [m, n] : places) {
      uint32_t values[DPP_REG_FIELD_MAX];
      uint32_t defaults[DPP_REG_FIELD_MAX];
      dpp_reg_default_val_get(reg_no, defaults);
      ASSERT_EQ(dpp_reg_read(0, reg_no, m, n, values), 0u);
      for (uint32_t i = 0; i < info.field_num; ++i) {
        // A window that has just been used says so.
        if (!ends_with(dpp_reg_name_get(reg_no), "_ind_status") && !ends_with(dpp_reg_name_get(reg_no), "_ind_cmd") &&
            !ends_with(dpp_reg_name_get(reg_no), "_ind_data")) {
          ASSERT_EQ(values[i], defaults[i]) << dpp_reg_name_get(reg_no) << " field " << i;
        }
      }
    }
  }
}

TEST_F(OnVirtualCard, ConfigurationKeepsWhatIsWrittenAndStatesDoNot) {
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM; ++reg_no) {
    const dpp_reg_info& info = *dpp_reg_info_get(reg_no);
    const char* name = dpp_reg_name_get(reg_no);
    const bool acts = ends_with(name, "_ind_cmd") || ends_with(name, "_cap_en") || ends_with(name, "_cap_clr") ||
                      ends_with(name, "_dbg_ctrl") || ends_with(name, "_pkt_send");
    const bool behind_window = info.access == DPP_REG_ACCESS_TM || info.access == DPP_REG_ACCESS_SE_ALG;
    if (!dpp_reg_is_described(info) || acts || behind_window) {
      continue;
    }
    uint32_t written[DPP_REG_FIELD_MAX];
    uint32_t before[DPP_REG_FIELD_MAX];
    uint32_t after[DPP_REG_FIELD_MAX];
    dpp_reg_rand_val_get(reg_no, written);
    const uint32_t m = info.m_size - 1;
    const uint32_t n = info.n_size - 1;
    ASSERT_EQ(dpp_reg_read(0, reg_no, m, n, before), 0u);
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
  EXPECT_EQ(value(DPP_REG_PKTRX_INT_STATUS, DPP_FIELD_PKTRX_INT_STATUS_PFU_OVF), 1u);
  set(DPP_REG_PKTRX_INT_STATUS, 0, 0, 0, 1, 0, 0);
  EXPECT_EQ(value(DPP_REG_PKTRX_INT_STATUS, DPP_FIELD_PKTRX_INT_STATUS_PFU_OVF), 0u);
  EXPECT_EQ(value(DPP_REG_PKTRX_INT_STATUS, DPP_FIELD_PKTRX_INT_STATUS_LEN_ERR), 1u);
  uint32_t pair[2];
  ASSERT_EQ(dpp_reg_read(0, DPP_REG_PKTRX_STAT_ISCH_I_PORT_CNT, 0, 0, pair), 0u);
  EXPECT_EQ(pair[0], 7u);
  EXPECT_EQ(pair[1], 9u);
  EXPECT_EQ(value(DPP_REG_PKTRX_STAT_ISCH_I_PORT_CNT, 0), 0u);
}

TEST_F(OnVirtualCard, CountersAdvanceAtTheirRate) {
  insert(R"({"counter_rate": 1000000000})");
  uint32_t sum = 0;
  for (int i = 0; i < 1000000 && sum == 0; ++i) {
    sum = value(DPP_REG_MR_RX_PKT_CNT);
  }
  EXPECT_NE(sum, 0u);
}

TEST_F(OnVirtualCard, CardFileSetsPortsVersionsAndFeatures) {
  insert(R"({"micro_code_version": "0x05060007", "features": [3, "0x1122334455667788"],
             "ports": {"16": {"receive_packets": "0x100000002", "send_packets": 9, "link_up": false}}})");
  EXPECT_EQ(value(DPP_REG_TRPG_RX_PORT_PKT_NUM, 0, 0, 16), 1u);
  EXPECT_EQ(value(DPP_REG_TRPG_RX_PORT_PKT_NUM, 1, 0, 16), 2u);
  EXPECT_EQ(value(DPP_REG_TRPG_RX_PORT_PKT_NUM, 1, 0, 16), 2u);
  EXPECT_EQ(value(DPP_REG_TRPG_TX_PORT_PKT_NUM, 1, 0, 16), 9u);
  EXPECT_EQ(value(DPP_REG_TRPG_PORT_STATUS_INFO, 0, 0, 16), 0u);
  EXPECT_EQ(value(DPP_REG_TRPG_PORT_STATUS_INFO, 0, 0, 15), 1u);
  EXPECT_EQ(value(DPP_REG_PKTRX_UDF_TABLE, 0, 0, 10), 0x05060007u);
  EXPECT_EQ(value(DPP_REG_MCODE_FEATURE, 0, 0, 1), 0x11223344u);
  EXPECT_EQ(value(DPP_REG_MCODE_FEATURE, 1, 0, 1), 0x55667788u);
}

TEST_F(OnVirtualCard, CardFileRefusesWhatIsNoRegisterOrPort) {
  for (const char* text : {R"({"ports": {"31": {}}})", R"({"registers": {"0x3": 1}})", R"({"registers": {"x": 1}})",
                           R"({"eram": {"0x80000": "00"}})", R"({"what": 1})"}) {
    insert(text);
    EXPECT_FALSE(file_->complaints().empty()) << text;
  }
}

TEST_F(OnVirtualCard, ERamIsOneMemoryInFiveWidths) {
  for (uint32_t word = 0; word < 4; ++word) {
    set(DPP_REG_SMMU0_CPU_IND_DATA, word, 0x11111111 * (word + 1));
  }
  set(DPP_REG_SMMU0_CPU_IND_CMD, 0, 0, 0, 0, 0x20);  // line 0x20, 128 bits
  struct view {
    uint32_t mode;
    uint32_t index;
    uint32_t word0;
    uint32_t word1;
  };
  const view views[] = {
      {0, 0x20, 0x11111111, 0x22222222},
      {1, 0x41, 0x33333333, 0x44444444},
      {2, 0x82, 0x33333333, 0},
      {3, 0x801, 1, 0},  // bits 125 and 124 of 0x11111111...
      {4, 0x1003, 1, 0},
      {4, 0x1002, 0, 0},
  };
  for (const view& v : views) {
    set(DPP_REG_SMMU0_CPU_IND_CMD, 0, 1, 0, v.mode, v.index);
    EXPECT_EQ(value(DPP_REG_SMMU0_CPU_IND_STATUS), 1u);
    EXPECT_EQ(value(DPP_REG_SMMU0_CPU_IND_DATA, 0, 0, 0), v.word0) << v.mode << " " << v.index;
    EXPECT_EQ(value(DPP_REG_SMMU0_CPU_IND_DATA, 0, 0, 1), v.word1) << v.mode << " " << v.index;
  }
  set(DPP_REG_SMMU0_CPU_IND_CMD, 0, 1, 1, 1, 0x40);  // read and clear the upper half
  set(DPP_REG_SMMU0_CPU_IND_CMD, 0, 1, 0, 0, 0x20);
  EXPECT_EQ(value(DPP_REG_SMMU0_CPU_IND_DATA, 0, 0, 1), 0u);
  EXPECT_EQ(value(DPP_REG_SMMU0_CPU_IND_DATA, 0, 0, 2), 0x33333333u);
}

TEST_F(OnVirtualCard, DdrAnswersInThreeWidths) {
  for (uint32_t word = 0; word < 16; ++word) {
    set(DPP_REG_SMMU1_CPU_IND_DATA, word, word + 1);
  }
  set(DPP_REG_SMMU1_CPU_IND_CMD, 0, 0, 2, 5);
  set(DPP_REG_SMMU1_CPU_IND_CMD, 0, 1, 1, 11);  // upper 256 bits of the 512-bit entry 5
  EXPECT_EQ(value(DPP_REG_SMMU1_CPU_IND_DATA, 0, 0, 0), 9u);
  EXPECT_EQ(value(DPP_REG_SMMU1_CPU_IND_DATA, 0, 0, 8), 0u);
  set(DPP_REG_SMMU1_CPU_IND_CMD, 0, 1, 0, 20);
  EXPECT_EQ(value(DPP_REG_SMMU1_CPU_IND_DATA, 0, 0, 3), 4u);
}

TEST_F(OnVirtualCard, HashMemoryIsWrittenByQuarters) {
  uint32_t line[16];
  uint32_t back[16];
  std::fill(std::begin(line), std::end(line), 0xAAAAAAAA);
  ASSERT_EQ(dpp_se_alg_write(0, 0xFu << 17 | 0x1234, line), 0u);
  std::fill(std::begin(line), std::end(line), 0x55555555);
  ASSERT_EQ(dpp_se_alg_write(0, 0x8u << 17 | 0x1234, line), 0u);
  ASSERT_EQ(dpp_se_alg_read(0, 0x1234, back), 0u);
  EXPECT_EQ(back[0], 0x55555555u);
  EXPECT_EQ(back[3], 0x55555555u);
  EXPECT_EQ(back[4], 0xAAAAAAAAu);
  EXPECT_EQ(back[15], 0xAAAAAAAAu);
  // Registers of the zblocks have places of their own.
  const uint32_t zblock[3] = {1, 3, 1};
  ASSERT_EQ(dpp_reg_write(0, DPP_REG_ZBLOCK_SERVICE_CONFIGURE, 3, 7, zblock), 0u);
  EXPECT_EQ(value(DPP_REG_ZBLOCK_SERVICE_CONFIGURE, 1, 3, 7), 3u);
  EXPECT_EQ(value(DPP_REG_ZBLOCK_SERVICE_CONFIGURE, 1, 3, 6), 0u);
}

TEST_F(OnVirtualCard, TernaryRowsKeepDataMaskAndValidBits) {
  for (uint32_t word = 0; word < 20; ++word) {
    set(DPP_REG_ETCAM_CPU_IND_DATA, word, 0xFFFFFFFF);
  }
  // Part 0 (the first ten bytes) of row 3 in block 2, its valid bit set.
  set(DPP_REG_ETCAM_CPU_IND_CMD, 0, 0, 0, 1, 1, 0x80, 0x80, 2, 3);
  set(DPP_REG_ETCAM_CPU_IND_CMD, 0, 1, 0, 1, 0, 0, 0, 2, 3);
  EXPECT_EQ(value(DPP_REG_ETCAM_CPU_IND_DATA, 0, 0, 1), 0xFFFFFFFFu);
  EXPECT_EQ(value(DPP_REG_ETCAM_CPU_IND_DATA, 0, 0, 2), 0xFFFF0000u);
  EXPECT_EQ(value(DPP_REG_ETCAM_CPU_IND_DATA, 0, 0, 3), 0u);
  EXPECT_EQ(value(DPP_REG_ETCAM_CPU_IND_VBIT), 0x80u);
  set(DPP_REG_ETCAM_CPU_IND_CMD, 0, 1, 0, 0, 0, 0, 0, 2, 3);
  EXPECT_EQ(value(DPP_REG_ETCAM_CPU_IND_DATA, 0, 0, 0), 0u);
}

TEST_F(OnVirtualCard, StatisticsLieInERamAndClearOnDemand) {
  insert(R"({"statistics": {"0x11d02": "0x500000006"}})");
  const auto read = [](uint32_t clear) {
    set(DPP_REG_STAT_CPU_IND_CMD, 0, 1, clear, 0, 0x11d02);
    return std::pair(value(DPP_REG_STAT_CPU_IND_DATA, 0, 0, 0), value(DPP_REG_STAT_CPU_IND_DATA, 0, 0, 1));
  };
  EXPECT_EQ(read(0), std::pair(5u, 6u));
  set(DPP_REG_SMMU0_CPU_IND_CMD, 0, 1, 0, 1, 0x40000 * 2 + 0x11d02);
  EXPECT_EQ(value(DPP_REG_SMMU0_CPU_IND_DATA, 0, 0, 1), 6u);
  EXPECT_EQ(read(1), std::pair(5u, 6u));
  EXPECT_EQ(read(0), std::pair(0u, 0u));
}

TEST_F(OnVirtualCard, PolicerClusterAndTrafficManagerMemoriesKeepEntries) {
  set(DPP_REG_CAR_CPU_IND_DATA, 7, 0x77);
  set(DPP_REG_CAR_CPU_IND_CMD, 0, 0, 1, 2, 9);
  set(DPP_REG_CAR_CPU_IND_DATA, 7, 0);
  set(DPP_REG_CAR_CPU_IND_CMD, 0, 1, 1, 2, 9);
  EXPECT_EQ(value(DPP_REG_CAR_CPU_IND_DATA, 0, 0, 7), 0x77u);
  set(DPP_REG_CAR_CPU_IND_CMD, 0, 1, 0, 2, 9);
  EXPECT_EQ(value(DPP_REG_CAR_CPU_IND_DATA, 0, 0, 7), 0u);

  const uint32_t word = 0x99;
  ASSERT_EQ(dpp_reg_write(0, DPP_REG_PPU_CLS_IND_DATA, 5, 3, &word), 0u);
  set(DPP_REG_PPU_CLS_IND_CMD, 5, 0, 0, 0, 0x100);
  const uint32_t other = 0;
  ASSERT_EQ(dpp_reg_write(0, DPP_REG_PPU_CLS_IND_DATA, 5, 3, &other), 0u);
  set(DPP_REG_PPU_CLS_IND_CMD, 5, 1, 0, 0, 0x100);
  EXPECT_EQ(value(DPP_REG_PPU_CLS_IND_DATA, 0, 5, 3), 0x99u);

  set(DPP_REG_ETM_CRDT_WEIGHT, 511, 2, 40);
  EXPECT_EQ(value(DPP_REG_ETM_CRDT_WEIGHT, 1, 0, 511), 40u);
  EXPECT_EQ(value(DPP_REG_ETM_CRDT_WEIGHT, 1, 0, 510), 1u);
}

TEST_F(OnVirtualCard, CaptureTakesAPacketThatItsFilterNames) {
  set(DPP_REG_PBU_CAP_FILTER_SMAC, 0, 0x0000AABB, 0xCCDDEEFF);
  set(DPP_REG_PBU_CAP_FILTER_EN, 0, 0, 1, 0, 0);
  set(DPP_REG_PBU_CAP_EN, 0, 1);
  EXPECT_EQ(value(DPP_REG_PBU_CAP_STATUS, DPP_FIELD_PBU_CAP_STATUS_CAP_FULL), 1u);
  EXPECT_EQ(value(DPP_REG_PBU_CAP_STATUS, DPP_FIELD_PBU_CAP_STATUS_CAP_LEN), 64u);
  EXPECT_EQ(value(DPP_REG_PBU_CAP_DATA, 0, 0, 2), 0xCCDDEEFFu);
  set(DPP_REG_PBU_CAP_CLR, 0, 1);
  EXPECT_EQ(value(DPP_REG_PBU_CAP_STATUS, DPP_FIELD_PBU_CAP_STATUS_CAP_FULL), 0u);
  EXPECT_EQ(value(DPP_REG_PBU_CAP_DATA, 0, 0, 2), 0u);
}

TEST_F(OnVirtualCard, DebuggerStopsAtBreakpointsAndSteps) {
  const uint32_t breakpoint[2] = {1, 0x120};
  ASSERT_EQ(dpp_reg_write(0, DPP_REG_PPU_CLS_DBG_BP, 2, 4, breakpoint), 0u);
  set(DPP_REG_PPU_CLS_DBG_CTRL, 2, 0, 0, 0, 1);
  EXPECT_EQ(value(DPP_REG_PPU_CLS_DBG_STATUS, 0, 0, 2), 1u);
  set(DPP_REG_PPU_DBG_PKT_SEND, 0, 1, 0, 64);
  EXPECT_EQ(value(DPP_REG_PPU_CLS_DBG_STATUS, DPP_FIELD_PPU_CLS_DBG_STATUS_DBG_STOPPED, 0, 2), 1u);
  EXPECT_EQ(value(DPP_REG_PPU_CLS_DBG_STATUS, DPP_FIELD_PPU_CLS_DBG_STATUS_DBG_PC, 0, 2), 0x120u);
  EXPECT_EQ(value(DPP_REG_PPU_CLS_INT_STATUS, DPP_FIELD_PPU_CLS_INT_STATUS_BP_HIT, 0, 2), 1u);
  set(DPP_REG_PPU_CLS_DBG_CTRL, 2, 0, 0, 1, 0);
  EXPECT_EQ(value(DPP_REG_PPU_CLS_DBG_STATUS, DPP_FIELD_PPU_CLS_DBG_STATUS_DBG_PC, 0, 2), 0x121u);
  EXPECT_EQ(value(DPP_REG_PPU_CLS_DBG_STATUS, 0, 0, 3), 0u);
}

}  // namespace
