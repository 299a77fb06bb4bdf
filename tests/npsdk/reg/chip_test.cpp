#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "dpp_chip/dpp_debug.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_mutex.h"
#include "dpp_chip/dpp_dev_setup.h"
#include "dpp_chip/dpp_dev_value.h"
#include "on_memory.h"

namespace {

using np_test::memory;
using np_test::memory_device_add;
using testing::AllOf;
using testing::HasSubstr;

using Channel = CaughtOnMemory;
using DefaultHooks = CaughtOnMemory;
using Mutexes = CaughtOnMemory;
using Values = CaughtOnMemory;
using Start = CaughtOnMemory;
using Debug = CaughtOnMemory;

constexpr uint32_t out_of_range = 0x1205;
constexpr uint32_t point_null = 0x1201;

// The first test of the program: nothing has started the manager yet.
TEST(DeviceManager, StartsOnceAndKeepsDevices) {
  caught_output out;
  EXPECT_EQ(dpp_dev_mgr_get(), nullptr);
  EXPECT_EQ(dpp_dev_add(0, 2, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr), 0x607u);
  EXPECT_EQ(out.take(),
            "Error: dev_mgr is not init.\n"
            "ErrorCode[ 0x607]: Device Manager is not init!!!\n");

  ASSERT_EQ(dpp_dev_init(), 0u);
  ASSERT_EQ(dpp_dev_add(3, 2, 0, 0x1000, 0x2000, 0x3000, 0x4000, nullptr, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(dpp_dev_mgr_get()->device_num, 1u);
  EXPECT_EQ(dpp_dev_get_pcie_addr(3), 0x1000u);
  EXPECT_EQ(dpp_dev_get_riscv_addr(3), 0x2000u);
  EXPECT_EQ(dpp_dev_get_dma_vir_addr(3), 0x3000u);
  EXPECT_EQ(dpp_dev_get_dma_phy_addr(3), 0x4000u);
  const dpp_dev_cfg* record = dpp_dev_mgr_get()->p_dev_array[3];
  EXPECT_EQ(record->p_pcie_write_fun, dpp_dev_pcie_default_write);

  EXPECT_EQ(dpp_dev_init(), 0u);
  EXPECT_EQ(dpp_dev_add(3, 2, 1, 0x5000, 0, 0, 0, nullptr, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(out.take(), "Dev is already initialized.\nDevice is added again!!!\n");
  EXPECT_EQ(dpp_dev_mgr_get()->device_num, 1u);
  EXPECT_EQ(dpp_dev_mgr_get()->p_dev_array[3], record);
  EXPECT_EQ(dpp_dev_get_pcie_addr(3), 0x5000u);
  EXPECT_EQ(dpp_dev_get_dev_type(4), DPP_DEV_TYPE_INVALID);
}

TEST_F(Channel, RefusesWhatIsNotThere) {
  uint32_t word = 0;
  EXPECT_EQ(dpp_dev_write_channel(16, 0, 1, &word), out_of_range);
  EXPECT_EQ(dpp_dev_read_channel(0, 0, 1, nullptr), point_null);
  EXPECT_EQ(dpp_dev_read_channel(9, 0, 1, &word), 1u);
  memory_device_add(0);
  dpp_dev_cfg_get(0)->access_type = 2;
  EXPECT_EQ(dpp_dev_write_channel(0, 0, 1, &word), 1u);
  EXPECT_THAT(
      out.take(),
      AllOf(HasSubstr("[Error:VALUE[0x10] INVALID] [max=0xf] ! FUNCTION :dpp_dev_write_channel !\n"),
            HasSubstr("Error: Channel[9] dev is not exist!\n "), HasSubstr("Dev access type[ 2 ] is invalid!\n")));
}

TEST_F(Channel, FollowsTheAccessTypeAndHandsCodesUp) {
  for (const uint32_t access_type : {DPP_DEV_ACCESS_TYPE_PCIE, DPP_DEV_ACCESS_TYPE_RISCV}) {
    memory_device_add(1, access_type);
    const uint32_t data[2] = {11, 22};
    uint32_t back[2] = {};
    EXPECT_EQ(dpp_dev_write_channel(1, 0x40, 2, data), 0u);
    EXPECT_EQ(dpp_dev_read_channel(1, 0x40, 2, back), 0u);
    EXPECT_EQ(back[1], 22u);
    memory().fail_code = 0x77;
    EXPECT_EQ(dpp_dev_read_channel(1, 0x40, 2, back), 0x77u);
  }
}

TEST_F(Channel, AnswersSoftInterruptsWithoutHardware) {
  memory().words[0x3000] = 5;
  ASSERT_EQ(dpp_dev_soft_int_add(0, 0x3000, 9), 0u);
  uint32_t word = 0;
  EXPECT_EQ(dpp_dev_read_channel(0, 0x3000, 1, &word), 0u);
  EXPECT_EQ(word, 5u);
  dpp_dev_soft_int_enable_set(0, 1);
  const uint32_t reads = memory().reads;
  EXPECT_EQ(dpp_dev_read_channel(0, 0x3000, 1, &word), 0u);
  EXPECT_EQ(word, 9u);
  uint32_t wide[3] = {1, 2, 3};
  EXPECT_EQ(dpp_dev_read_channel(0, 0x3000, 3, wide), 0u);
  EXPECT_THAT(wide, testing::ElementsAre(9, 0, 0)) << "nothing of the caller's";
  EXPECT_EQ(memory().reads, reads);
  dpp_dev_soft_int_clear(0);
  EXPECT_EQ(dpp_dev_read_channel(0, 0x3000, 1, &word), 0u);
  EXPECT_EQ(word, 5u);
  for (uint32_t i = 0; i < DPP_DEV_SOFT_INT_MAX; ++i) {
    ASSERT_EQ(dpp_dev_soft_int_add(0, i * 4, i), 0u);
  }
  EXPECT_EQ(dpp_dev_soft_int_add(0, 0x100000, 1), out_of_range);
  EXPECT_EQ(dpp_dev_soft_int_add(0, 8, 77), 0u);
  dpp_dev_soft_int_clear(0);
  dpp_dev_soft_int_enable_set(0, 0);
}

TEST_F(DefaultHooks, MoveWordsInOrderAndEchoCaptures) {
  std::vector<uint32_t> bar(64);
  const uint64_t base = reinterpret_cast<uint64_t>(bar.data());
  dpp_dev_add(2, 2, 0, base, base, 0, 0, nullptr, nullptr, nullptr, nullptr);
  const uint32_t data[3] = {1, 0xABCDEF01, 3};
  dpp_pcie_cap_set(1, 0x10, 0x14);
  EXPECT_EQ(dpp_dev_write_channel(2, 0x10, 3, data), 0u);
  EXPECT_EQ(dpp_dev_write_channel(2, 0x18, 1, data), 0u);
  dpp_pcie_cap_set(0, 0, 0);
  EXPECT_EQ(dpp_dev_write_channel(2, 0x10, 1, data), 0u);
  EXPECT_EQ(out.take(),
            "PCIE CAPTURE: en = 1, start = 16, end = 20\n"
            "dpp_dev_pcie_default_write wr [0x00000010]: 00000001 abcdef01 00000003\n"
            "PCIE CAPTURE: en = 0, start = 0, end = 0\n");
  EXPECT_EQ(bar[5], 0xABCDEF01u);
  uint32_t back[3] = {};
  EXPECT_EQ(dpp_dev_riscv_default_read(2, 0x10, 2, back), 0u);
  EXPECT_EQ(back[1], 0xABCDEF01u);
}

TEST_F(DefaultHooks, RefuseAddressesThatOverflowAndMissingWindows) {
  uint32_t word = 0;
  dpp_dev_add(2, 2, 0, UINT64_MAX - 0x10, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(dpp_dev_write_channel(2, 0x20, 1, &word), out_of_range);
  EXPECT_EQ(dpp_dev_read_channel(2, 0xC, 4, &word), out_of_range);
  dpp_dev_add(2, 2, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(dpp_dev_read_channel(2, 0x20, 1, &word), 1u);
  EXPECT_EQ(dpp_dev_riscv_default_write(2, 0x20, 1, &word), 1u);
}

TEST_F(Mutexes, AreOneForEachTypeQueueAndEngine) {
  std::set<dpp_mutex*> seen;
  dpp_mutex* mutex = nullptr;
  const auto expect_another = [&](uint32_t code) {
    EXPECT_EQ(code, 0u);
    EXPECT_TRUE(seen.insert(mutex).second);
  };
  for (uint32_t type = 0; type < DPP_DEV_MUTEX_T_MAX; ++type) {
    if (type == 3 || type == 7) {
      EXPECT_EQ(dpp_dev_opr_mutex_get(0, type, &mutex), 1u);
    } else {
      expect_another(dpp_dev_opr_mutex_get(0, type, &mutex));
    }
  }
  for (uint32_t engine = 0; engine < DPP_DEV_HASH_MUTEX_NUM; ++engine) {
    expect_another(dpp_dev_hash_opr_mutex_get(0, engine, &mutex));
  }
  for (uint32_t queue = 0; queue < DPP_DEV_DTB_MUTEX_NUM; ++queue) {
    expect_another(dpp_dev_dtb_opr_mutex_get(0, 17, queue, &mutex));
  }
  EXPECT_EQ(dpp_dev_opr_mutex_get(0, 19, &mutex), out_of_range);
  EXPECT_EQ(dpp_dev_hash_opr_mutex_get(0, 4, &mutex), out_of_range);
  EXPECT_EQ(dpp_dev_dtb_opr_mutex_get(0, 17, 128, &mutex), out_of_range);
  EXPECT_EQ(dpp_dev_dtb_opr_mutex_get(0, 16, 0, &mutex), 1u);
  EXPECT_EQ(dpp_dev_opr_mutex_get(12, 0, &mutex), 1u);
  qlix_comm_spin_lock* lock = nullptr;
  EXPECT_EQ(dpp_dev_opr_spin_lock_get(0, &lock), 0u);
}

TEST_F(Values, AreKeptForEachDevice) {
  const struct {
    uint32_t (*set)(uint32_t, uint32_t);
    uint32_t (*get)(uint32_t, uint32_t*);
  } values[] = {
      {dpp_dev_np_bar_offset_set, dpp_dev_np_bar_offset_get},
      {dpp_dev_vport_set, dpp_dev_vport_get},
      {dpp_dev_fw_bar_msg_num_set, dpp_dev_fw_bar_msg_num_get},
      {dpp_dev_pcie_bdf_set, dpp_dev_pcie_bdf_get},
      {dpp_dev_version_set, dpp_dev_version_get},
      {dpp_dev_init_flag_set, dpp_dev_init_flag_get},
      {dpp_dev_agent_status_set, dpp_dev_get_dev_agent_flag},
  };
  uint32_t seed = 1;
  for (const auto& v : values) {
    uint32_t back = 0;
    EXPECT_EQ(v.set(7, ++seed), 0u);
    EXPECT_EQ(v.set(8, seed + 100), 0u);
    EXPECT_EQ(v.get(7, &back), 0u);
    EXPECT_EQ(back, seed);
    EXPECT_EQ(v.set(16, 0), out_of_range);
    EXPECT_EQ(v.get(16, &back), out_of_range);
    EXPECT_EQ(v.get(7, nullptr), point_null);
  }
  uint32_t ep_no = 0;
  dpp_dev_vport_set(7, 0x4801);
  EXPECT_EQ(dpp_dev_ep_no_get(7, &ep_no), 0u);
  EXPECT_EQ(ep_no, 4u);
  int res = 0;
  EXPECT_EQ(dpp_dev_ep_no_get(7, nullptr), point_null);
  EXPECT_EQ(dpp_dev_set_se_res_ptr(7, 1, &res), 0u);
  EXPECT_EQ(dpp_dev_set_se_res_ptr(7, 2, &res), out_of_range);
  EXPECT_EQ(dpp_dev_get_se_res_ptr(7, 1), &res);
  EXPECT_EQ(dpp_dev_get_se_res_ptr(7, 0), nullptr);
  EXPECT_EQ(dpp_dev_get_se_res_ptr(7, 2), nullptr);
}

TEST_F(Start, NpAddressIsTheWindowLessItsFirstRegister) {
  EXPECT_EQ(dpp_dev_np_addr_calc(0x7F0000000000, 0x2000000), 0x7F0000000000u);
  EXPECT_EQ(dpp_dev_np_addr_calc(0x1000, 0x100), 0u);
  EXPECT_EQ(out.take(),
            "np_addr:0x7f0000000000,pcie_vir_baddr=0x7f0000000000,np_bar_offset=0x2000000\n"
            "np_addr:0x0,pcie_vir_baddr=0x1000,np_bar_offset=0x100\n");
}

TEST_F(Start, HostDeviceComesUpInAgentModeOnAMappedBar) {
  std::vector<uint32_t> bar(0x6000 / 4);
  const uint64_t base = reinterpret_cast<uint64_t>(bar.data());
  dpp_host_np_info info = {.bar_vir_addr = base, .bar_size = 0x6000, .np_bar_offset = 0x2000000, .vport = 0x2000};
  bar[0x5418 / 4] = 0x00000104;  // record 3 of another generation
  EXPECT_EQ(dpp_host_np_init(5, &info), DPP_RC_DEV_FW_MISMATCH);
  bar[0x5418 / 4] = 0x00030004;
  dpp_dev_fw_bar_msg_num_set(5, 9);
  EXPECT_EQ(dpp_host_np_init(5, &info), 0u);
  uint64_t addr = 0;
  uint32_t value = 0;
  EXPECT_EQ(dpp_dev_agent_addr_get(5, &addr), 0u);
  EXPECT_EQ(addr, base + 0x2000);
  dpp_dev_get_dev_agent_flag(5, &value);
  EXPECT_EQ(value, 1u);
  dpp_dev_np_bar_offset_get(5, &value);
  EXPECT_EQ(value, 0x2000000u);
  dpp_dev_fw_bar_msg_num_get(5, &value);
  EXPECT_EQ(value, 0u);
  info.bar_size = 0x5000;
  EXPECT_EQ(dpp_host_np_init(5, &info), out_of_range);
  EXPECT_EQ(dpp_host_np_init(5, nullptr), point_null);
  EXPECT_EQ(dpp_host_np_init(16, &info), out_of_range);
}

TEST_F(Debug, ReadsAndWritesRawWords) {
  EXPECT_EQ(dpp_debug_wr(0, 0x20, 0xA5), 0u);
  EXPECT_EQ(dpp_debug_multi_rd(0, 0x20, 2), 0u);
  EXPECT_EQ(out.take(),
            "addr: 0x00000020, data: 0x000000a5\n"
            "addr: 0x00000024, data: 0x00000000\n");
  EXPECT_EQ(dpp_debug_multi_rd(0, 0x20, 0), out_of_range);
  EXPECT_EQ(dpp_debug_multi_rd(0, 0xFFFFFFFC, 2), out_of_range);
}

}  // namespace
