#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "../../bytes.h"
#include "dpp_chip/dpp_dev_mutex.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_access.h"
#include "dpp_reg/dpp_reg_types.h"
#include "on_memory.h"
#include "qlix_comm/bits.h"
#include "qlix_comm/print.h"

namespace {

using np_test::memory;
using np_test::memory_device_add;
using testing::AllOf;
using testing::HasSubstr;

using Rows = OnMemory;
using Operations = CaughtOnMemory;
using Types = CaughtOnMemory;
using Window = CaughtOnMemory;
using AgentMode = CaughtOnMemory;
using Capture = CaughtOnMemory;

constexpr uint32_t out_of_range = 0x1205;
constexpr uint32_t point_null = 0x1201;

// The words of one instance that was just written, as they went to the device. Those behind a window stand in its data
// words, and the command names their place.
std::vector<uint32_t> stored_words(const dpp_reg_info& info, uint32_t m, uint32_t n) {
  uint32_t addr = 0;
  EXPECT_EQ(dpp_reg_get_reg_addr(info.reg_no, m, n, &addr), 0u);
  if (info.access == DPP_REG_ACCESS_SE_ALG) {
    EXPECT_EQ(memory().words[0x280004], addr & 0x1FFFFF);
    addr = 0x280008;
  }
  if (info.access == DPP_REG_ACCESS_TM) {
    EXPECT_EQ(memory().words[0x100284], addr);
    addr = 0x100288;
  }
  std::vector<uint32_t> words;
  for (uint32_t i = 0; i < info.width / 4; ++i) {
    words.push_back(memory().words[addr + 4 * i]);
  }
  if (info.access == DPP_REG_ACCESS_SE_ALG) {
    std::reverse(words.begin(), words.end());
  }
  return words;
}

TEST_F(Rows, EveryRegisterIsWrittenAsItsFieldsSayAndReadBack) {
  memory().record = false;
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM; ++reg_no) {
    memory().words[np_test::ALG_STATUS] = memory().words[np_test::TM_STATUS] = 1;  // written like every register
    const dpp_reg_info& info = *dpp_reg_info_get(reg_no);
    const uint32_t places[][2] = {{0, 0}, {info.m_size - 1, info.n_size - 1}};
    for (const auto& [m, n] : places) {
      uint32_t values[DPP_REG_FIELD_MAX];
      uint32_t back[DPP_REG_FIELD_MAX];
      ASSERT_EQ(dpp_reg_rand_val_get(reg_no, values), 0u);
      ASSERT_EQ(dpp_reg_write(0, reg_no, m, n, values), 0u);
      std::vector<uint8_t> bytes(info.width);
      const auto fields = dpp_reg_fields_get(info);
      for (size_t i = 0; i < fields.size(); ++i) {
        qlix_comm_write_bits_ex(bytes.data(), info.width * 8, values[i], fields[i].msb_pos, fields[i].len);
      }
      const std::vector<uint32_t> words = stored_words(info, m, n);
      for (uint32_t i = 0; i < words.size(); ++i) {
        ASSERT_EQ(words[i], word_at(&bytes[4 * i])) << dpp_reg_name_get(reg_no) << " word " << i;
      }
      ASSERT_EQ(dpp_reg_read(0, reg_no, m, n, back), 0u);
      for (size_t i = 0; i < fields.size(); ++i) {
        ASSERT_EQ(back[i], values[i]) << dpp_reg_name_get(reg_no) << " field " << dpp_reg_text_get(fields[i].name);
      }
    }
  }
}

TEST_F(Rows, NoTwoRegistersShareAWord) {
  std::map<uint64_t, uint32_t> owner;  // address space and address
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM; ++reg_no) {
    const dpp_reg_info& info = *dpp_reg_info_get(reg_no);
    const bool window = info.access == DPP_REG_ACCESS_TM || info.access == DPP_REG_ACCESS_SE_ALG;
    const uint64_t space = window ? uint64_t{info.access} << 32 : 0;
    for (uint32_t m = 0; m < info.m_size; ++m) {
      for (uint32_t n = 0; n < info.n_size; ++n) {
        uint32_t addr = 0;
        ASSERT_EQ(dpp_reg_get_reg_addr(reg_no, m, n, &addr), 0u);
        for (uint32_t i = 0; i < (window ? 1 : info.width / 4); ++i) {
          const auto [found, added] = owner.emplace(space + addr + 4 * i, reg_no);
          ASSERT_TRUE(added) << dpp_reg_name_get(reg_no) << " and " << dpp_reg_name_get(found->second) << " at 0x"
                             << std::hex << addr + 4 * i;
        }
      }
    }
  }
}

TEST_F(Operations, RefuseWhatDoesNotExist) {
  uint32_t values[DPP_REG_FIELD_MAX] = {};
  EXPECT_EQ(dpp_reg_write(16, 0, 0, 0, values), out_of_range);
  EXPECT_EQ(dpp_reg_read(16, 0, 0, 0, values), out_of_range);
  EXPECT_EQ(dpp_reg_write(0, 4440, 0, 0, values), out_of_range);
  EXPECT_EQ(dpp_reg_read(0, 4440, 0, 0, values), out_of_range);
  EXPECT_EQ(dpp_reg_write(0, 0, 0, 0, {}), point_null);
  EXPECT_EQ(dpp_reg_read(0, 0, 0, 0, {}), point_null);
  EXPECT_EQ(dpp_reg_read(9, 0, 0, 0, values), 1u);
  EXPECT_EQ(dpp_reg_write32(0, dpp_regs::zblock_service_configure::NUMBER, 1), out_of_range);
  EXPECT_EQ(dpp_reg_read32(0, dpp_regs::pktrx_udf_table::NUMBER, 0, 0, values), out_of_range);
  EXPECT_EQ(dpp_reg_info_get(4440), nullptr);
  EXPECT_EQ(dpp_reg_name_get(4440), nullptr);
  EXPECT_EQ(dpp_regs::cfg_queue_dtb_len_0_127::NUMBER, 819u);
  EXPECT_EQ(dpp_reg_width_get(4440), 0u);
  EXPECT_THAT(out.take(),
              AllOf(HasSubstr("[min=0x4,max=0x4]"), HasSubstr("[Error:VALUE[0x1158] INVALID] [max=0x1157]")));
  EXPECT_TRUE(memory().writes.empty());
}

// Room sized by an older sheet is refused, not written beyond.
TEST_F(Operations, RefuseRoomForFewerValuesThanTheRegisterHas) {
  uint32_t values[3] = {7, 7, 7};
  const std::span<uint32_t> two(values, 2);
  EXPECT_EQ(dpp_reg_write(0, 819, 0, 0, two), out_of_range);
  EXPECT_EQ(dpp_reg_read(0, 819, 0, 0, two), out_of_range);
  EXPECT_EQ(dpp_reg_val_get(0, 819, 0, 0, two), out_of_range);
  EXPECT_EQ(dpp_reg_default_val_get(819, two), out_of_range);
  EXPECT_EQ(dpp_reg_max_val_get(819, two), out_of_range);
  EXPECT_EQ(dpp_reg_words_read(0, dpp_regs::zblock_service_configure::NUMBER, 0, 0, values), out_of_range);
  EXPECT_THAT(out.take(), HasSubstr("[Error:VALUE[0x2] INVALID] [min=0x3]"));
  EXPECT_EQ(values[0], 7u);
  EXPECT_TRUE(memory().writes.empty());
}

TEST_F(Types, ReadWriteAndModifyFieldsByName) {
  dpp_regs::zblock_service_configure service = {};
  service.st_en = 1;
  service.hash_channel_sel = 2;
  EXPECT_EQ(dpp_reg_write(0, 1, 2, service), 0u);
  const auto select = [](dpp_regs::zblock_service_configure& fields) { fields.service_sel = 1; };
  EXPECT_EQ(dpp_reg_modify<dpp_regs::zblock_service_configure>(0, 1, 2, select), 0u);
  EXPECT_EQ(dpp_reg_read(0, 1, 2, &service), 0u);
  EXPECT_EQ(service.service_sel, 1u);
  EXPECT_EQ(service.hash_channel_sel, 2u);
  EXPECT_EQ(service.st_en, 1u);
}

TEST_F(Operations, HandTheHooksCodeUp) {
  memory().fail_code = 0x99;
  uint32_t values[DPP_REG_FIELD_MAX] = {};
  EXPECT_EQ(dpp_reg_write(0, 0, 0, 0, values), 0x99u);
  EXPECT_EQ(dpp_reg_read(0, 0, 0, 0, values), 0x99u);
  EXPECT_EQ(dpp_reg_write32_bymn(0, 0, 0, 0, 1), 0x99u);
  EXPECT_EQ(dpp_reg_read(0, dpp_regs::zblock_service_configure::NUMBER, 0, 0, values), 0x99u);
  EXPECT_THAT(out.take(), HasSubstr("[ErrorCode:0x99] !-- "));
}

TEST_F(Operations, MaskFieldsAndFormAddressesPastTheEnd) {
  const uint32_t values[3] = {3, 0x3FF, 0xFFFFFFFF};
  EXPECT_EQ(dpp_reg_write(0, 819, 0, 128, values), 0u);
  EXPECT_EQ(out.take(), "reg n_offset is out of range, reg_no:819, n:128, size:128\n");
  EXPECT_THAT(memory().writes, testing::ElementsAre(testing::Pair(0x2000008 + 128 * 0x20, 0x600003FF)));

  uint32_t addr = 0;
  EXPECT_EQ(dpp_reg_get_reg_addr(dpp_regs::zblock_service_configure::NUMBER, 4, 1, &addr), 0u);
  EXPECT_EQ(addr, dpp_reg_info_get(dpp_regs::zblock_service_configure::NUMBER)->addr + 4 * 0x4000 + 0x800);
  EXPECT_EQ(dpp_reg_get_reg_addr(dpp_regs::zblock_service_configure::NUMBER, 0x40000, 0, &addr), out_of_range);
  EXPECT_THAT(out.take(),
              HasSubstr("reg n_offset or m_offset is out of range, reg_no:1803, n:1, n_size:8, m:4, m_size:4,\n"));
}

TEST_F(Operations, Write32ReachesEveryInstance) {
  EXPECT_EQ(dpp_reg_write32(0, dpp_regs::odma_lif0_pfc_cnt::NUMBER, 7), 0u);
  const dpp_reg_info& info = *dpp_reg_info_get(dpp_regs::odma_lif0_pfc_cnt::NUMBER);
  EXPECT_EQ(memory().writes.size(), dpp_reg_instance_num_get(info));
  uint32_t value = 0;
  EXPECT_EQ(dpp_reg_read32(0, info.reg_no, info.m_size - 1, info.n_size - 1, &value), 0u);
  EXPECT_EQ(value, 7u);
}

TEST_F(Operations, DefaultAndMaximumValuesFollowTheFields) {
  uint32_t values[DPP_REG_FIELD_MAX] = {};
  EXPECT_EQ(dpp_reg_default_val_get(dpp_regs::cpu_check_reg::NUMBER, values), 0u);
  EXPECT_EQ(values[0], 0xFFFFFFFFu);
  EXPECT_EQ(dpp_reg_max_val_get(819, values), 0u);
  EXPECT_EQ(values[0], 1u);
  EXPECT_EQ(values[2], 0x3FFu);
}

TEST_F(Window, GivesUpOnASilentWindowAndLeavesTheMutexFree) {
  uint32_t data[16] = {};
  EXPECT_EQ(dpp_se_alg_write(0, 0xFFE12345, data), 0u);
  EXPECT_EQ(memory().writes.back(), (std::pair<uint32_t, uint32_t>{0x280004, 0x12345})) << "the command comes last";
  memory().words[np_test::ALG_STATUS] = 0;
  EXPECT_EQ(dpp_se_alg_read(0, 0, data), DPP_RC_REG_WINDOW_TIMEOUT);
  dpp_mutex* mutex = nullptr;
  ASSERT_EQ(dpp_dev_opr_mutex_get(0, DPP_DEV_MUTEX_T_SE_ALG, &mutex), 0u);
  DPP_MUTEX_GUARD(guard, mutex);
  EXPECT_TRUE(guard.locked());
}

// Writes random fields by type and by number and expects the same accesses and lines, and reads the same both ways.
template <typename Register>
void expect_same_by_type_and_number(uint32_t m, uint32_t n) {
  SCOPED_TRACE(dpp_reg_name_get(Register::NUMBER));
  dpp_reg_values<Register> values;
  EXPECT_EQ(dpp_reg_rand_val_get(Register::NUMBER, values), 0u);
  values.back() = ~values.back();  // bits beyond the field too
  memory().writes.clear();
  const uint32_t by_type = dpp_reg_write(0, m, n, std::bit_cast<Register>(values));
  const auto typed_writes = std::exchange(memory().writes, {});
  EXPECT_EQ(dpp_reg_write(0, Register::NUMBER, m, n, values), by_type);
  EXPECT_EQ(typed_writes, memory().writes);
  Register fields = {};
  dpp_reg_values<Register> read{};
  EXPECT_EQ(dpp_reg_read(0, m, n, &fields), dpp_reg_read(0, Register::NUMBER, m, n, read));
  EXPECT_EQ(std::bit_cast<dpp_reg_values<Register>>(fields), read);
}

void expect_types_and_numbers_agree() {
  expect_same_by_type_and_number<dpp_regs::cfg_queue_dtb_len_0_127>(0, 127);  // an array
  expect_same_by_type_and_number<dpp_regs::cfg_queue_dtb_len_0_127>(9, 5);    // m is ignored
  expect_same_by_type_and_number<dpp_regs::cfg_queue_dtb_len_0_127>(0, 128);  // beyond the end
  expect_same_by_type_and_number<dpp_regs::pbu_cos_th>(127, 7);               // of two dimensions
  expect_same_by_type_and_number<dpp_regs::pbu_cos_th>(128, 0);
  expect_same_by_type_and_number<dpp_regs::stat_ppu_eram_baddr>(3, 4);       // one instance
  expect_same_by_type_and_number<dpp_regs::zblock_service_configure>(1, 2);  // behind a window
}

TEST_F(Types, DoWhatCallsByNumberDo) {
  memory().words[np_test::ALG_STATUS] = 1;
  expect_types_and_numbers_agree();
  memory().fail_code = 7;
  expect_same_by_type_and_number<dpp_regs::cfg_queue_dtb_len_0_127>(0, 5);
  memory().fail_code = 0;
  dpp_reg_cap_cfg_set(1, dpp_regs::cfg_queue_dtb_len_0_127::NUMBER, dpp_regs::cfg_queue_dtb_len_0_127::NUMBER);
  out.take();
  dpp_reg_write(0, 0, 1, dpp_regs::cfg_queue_dtb_len_0_127{0, 0, 4});
  EXPECT_EQ(out.take(), "dpp_reg_write: addr=0x02000028, data=0x00000004.\n");
  dpp_reg_cap_cfg_set(0, 0, 0);
  dpp_dev_agent_status_set(0, 1);
  memory().words[np_test::ALG_STATUS + 0x2008000 - 0x280000] = 1;
  expect_types_and_numbers_agree();
  EXPECT_EQ(dpp_reg_write(16, 0, 0, dpp_regs::cfg_queue_dtb_len_0_127{}), out_of_range);
}

TEST_F(AgentMode, ConvertsTheWindowsOfFiveModules) {
  dpp_dev_agent_status_set(0, 1);
  const struct {
    uint32_t mod_no, addr, agent;
  } rows[] = {
      {13, 0x2000028, 0x2000028}, {14, 0x202010, 0x2001010}, {15, 0x8c004, 0x2002004},
      {15, 0x94004, 0x2003004},   {15, 0xb4ffc, 0x2007ffc},  {16, 0x280004, 0x2008004},
      {17, 0x310010, 0x2009010},  {4, 0x200000, 0x200000},   {6, 0x280004, 0x280004},
  };
  uint32_t converted = 0;
  for (const auto& row : rows) {
    EXPECT_EQ(dpp_reg_addr_convert(0, row.mod_no, 0, row.addr, &converted), 0u);
    EXPECT_EQ(converted, row.agent) << "module " << row.mod_no << std::hex << " address " << row.addr;
    dpp_reg_addr_convert(0, row.mod_no, 1, row.addr, &converted);
    EXPECT_EQ(converted, row.addr);
  }
  memory_device_add(0, DPP_DEV_ACCESS_TYPE_RISCV);
  dpp_dev_agent_status_set(0, 1);
  dpp_reg_addr_convert(0, 16, 0, 0x280004, &converted);
  EXPECT_EQ(converted, 0x280004u);
  memory_device_add(0);
  dpp_reg_addr_convert(0, 16, 0, 0x280004, &converted);
  EXPECT_EQ(converted, 0x280004u);
}

TEST_F(AgentMode, LeavesOtherModulesAlone) {
  dpp_dev_agent_status_set(0, 1);
  memory().words[dpp_reg_info_get(dpp_regs::stat_ppu_eram_baddr::NUMBER)->addr] = 0x123;
  uint32_t values[DPP_REG_FIELD_MAX] = {55};
  EXPECT_EQ(dpp_reg_write(0, dpp_regs::stat_ppu_eram_baddr::NUMBER, 0, 0, values), 0u);
  EXPECT_EQ(dpp_reg_read(0, dpp_regs::stat_ppu_eram_baddr::NUMBER, 0, 0, values), 0u);
  EXPECT_EQ(values[0], 0u);
  EXPECT_TRUE(memory().writes.empty());
  EXPECT_EQ(memory().reads, 0u);

  values[0] = 0xABCD;
  EXPECT_EQ(dpp_reg_write(0, 818, 0, 2, values), 0u);
  EXPECT_EQ(memory().writes.at(0), (std::pair<uint32_t, uint32_t>{0x2000044, 0xABCD}));
  memory().words[np_test::ALG_STATUS + 0x2008000 - 0x280000] = 1;
  uint32_t zblock[3] = {1, 2, 1};
  EXPECT_EQ(dpp_reg_write(0, dpp_regs::zblock_service_configure::NUMBER, 1, 2, zblock), 0u);
  EXPECT_EQ(memory().writes.back().first, 0x2008004u);
  uint32_t back[3] = {};
  EXPECT_EQ(dpp_reg_read(0, dpp_regs::zblock_service_configure::NUMBER, 1, 2, back), 0u);
  EXPECT_EQ(back[1], 2u);
}

TEST_F(AgentMode, FilterHidesFiveRegisters) {
  uint32_t flag = 0;
  for (const uint32_t reg_no : {661u, 662u, 663u, 3121u, 3122u, 660u}) {
    for (uint32_t mode = 0; mode < 4; ++mode) {
      dpp_reg_filter_en_set(mode & 1);
      dpp_dev_agent_status_set(0, mode >> 1);
      dpp_reg_filter_flag_get(0, reg_no, &flag);
      EXPECT_EQ(flag, mode == 3 && reg_no != 660 ? 1u : 0u) << reg_no << " mode " << mode;
    }
  }
  dpp_reg_filter_en_set(1);
  EXPECT_EQ(dpp_reg_filter_en_get(), 1u);
  qlix_comm_set_print_level(QLIX_TRACE_INFO_PRINT);
  uint32_t value = 1;
  EXPECT_EQ(dpp_reg_write(0, 661, 0, 0, {&value, 1}), 0u);
  EXPECT_EQ(dpp_reg_read(0, 661, 0, 0, {&value, 1}), 0u);
  EXPECT_EQ(out.take(), "reg_no[0x295] no hardware configuration.\nreg_no[0x295] no hardware configuration.\n");
  EXPECT_EQ(value, 0u);
  EXPECT_TRUE(memory().writes.empty());
}

TEST_F(Capture, PrintsAccessesOfItsWindowWhateverTheLevel) {
  uint32_t value = 0x1234;
  EXPECT_EQ(dpp_reg_cap_cfg_set(1, 817, 818), 0u);
  qlix_comm_set_print_level(QLIX_TRACE_PRINT);
  dpp_reg_write(0, 817, 0, 1, {&value, 1});
  dpp_reg_read(0, 817, 0, 1, {&value, 1});
  dpp_reg_write(0, 816, 0, 0, {&value, 1});
  EXPECT_EQ(qlix_comm_get_print_level(), QLIX_TRACE_PRINT);
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  dpp_reg_cap_cfg_set(0, 0, 0);
  EXPECT_EQ(out.take(),
            "REG CAPTURE CFG: en:1, reg_start:817[0x331], reg_end:818[0x332],\n"
            "dpp_reg_write: addr=0x02000020, data=0x00001234.\n"
            "dpp_reg_read: addr=0x02000020, data=0x00001234.\n"
            "REG CAPTURE CFG: en:0, reg_start:0[0x0], reg_end:0[0x0],\n");
  EXPECT_EQ(dpp_reg_cap_cfg_set(2, 0, 0), out_of_range);
  EXPECT_EQ(dpp_reg_cap_cfg_set(1, 0, 4440), out_of_range);
}

}  // namespace
