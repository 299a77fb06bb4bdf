// The tunnel against a card that is played here: configuration dwords, lock and sleeps are the test's own.
#include "kx_pcie/tunnel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "../printed.h"
#include "kx_pcie/card_lock.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/controller_space.h"
#include "kx_pcie/pcie_lock.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t CAPABILITY = 0xB0;

/// One transfer as the card sees it: command and data.
using transfer = std::pair<uint32_t, uint32_t>;

enum class moment { data_written, command_written, data_to_be_read };

struct fake_card {
  kxtools_sbdf bound = 0x3B00;
  uint32_t command = 3;
  uint32_t data = 0;
  int polls_to_answer = 1;
  uint64_t address = 0;
  std::map<uint64_t, uint32_t> memory = {};
  std::function<uint32_t(int reading)> channel_field = {};  // overrides the field of the command dword
  std::function<void(moment)> other = [](moment) {};        // another program that uses the capability

  std::vector<transfer> transfers = {};
  std::map<useconds_t, int> sleeps = {};
  int readings = 0;
  int polls_left = 0;
  int takes = 0;
  bool locked = false;
  bool operation = false;  // the lock for accesses that belong together is held
  bool operation_refused = false;
  int transfers_in_operation = 0;

  void execute() {
    transfers.push_back({command, data});
    switch (command >> 28 & 7) {
      case 1:
        address = (uint64_t{command >> 16 & 0xCFF} << 32) | data;
        break;
      case 2:
        data = memory[address];
        break;
      case 3:
        memory[address] = data;
        break;
      case 5:
        data = 1;
        break;
    }
  }
};

fake_card* card = nullptr;

}  // namespace

int32_t pcie_find_capability(kxtools_sbdf, uint8_t id) {
  EXPECT_EQ(id, 3);
  return CAPABILITY;
}

int32_t pcie_cfg_read_dword(kxtools_sbdf sbdf, uint32_t offset, uint32_t* value) {
  EXPECT_EQ(sbdf, card->bound);
  if (offset == CAPABILITY + 4) {
    card->other(moment::data_to_be_read);
    *value = card->data;
    return 0;
  }
  EXPECT_EQ(offset, CAPABILITY);
  if (card->polls_left > 0 && --card->polls_left == 0) {
    card->command ^= 0x80000000;
  }
  *value = card->command;
  if (card->channel_field) {
    *value = (*value & 0xF000FFFF) | card->channel_field(card->readings++) << 16;
  }
  return 0;
}

int32_t pcie_cfg_write_dword(kxtools_sbdf, uint32_t offset, uint32_t value) {
  EXPECT_TRUE(card->locked);
  if (offset == CAPABILITY + 4) {
    card->data = value;
    card->other(moment::data_written);
    return 0;
  }
  EXPECT_EQ(offset, CAPABILITY);
  card->command = value;
  card->transfers_in_operation += card->operation ? 1 : 0;
  card->polls_left = card->polls_to_answer;
  card->execute();
  card->other(moment::command_written);
  return 0;
}

bool pcie_lock::take() {
  ++card->takes;
  EXPECT_FALSE(card->locked);
  card->locked = true;
  fd_.reset(dup(STDIN_FILENO));
  return true;
}

void pcie_lock::release() {
  if (fd_) {
    card->locked = false;
    fd_.reset();
  }
}

bool card_lock::take() {
  EXPECT_FALSE(card->locked) << "it lies around the tunnel's";
  held_ = card->operation = !card->operation_refused;
  return held_;
}

void card_lock::release() {
  card->operation = card->operation && !held_;
  held_ = false;
}

extern "C" int usleep(useconds_t us) {
  ++card->sleeps[us];
  return 0;
}

namespace {

class TunnelTest : public testing::Test {
 protected:
  TunnelTest() {
    card = &card_;
    pcie_bound_sbdf_set(card_.bound);
    set_wr_mode(0);
    set_secure_mode(0);
  }
  ~TunnelTest() override {
    EXPECT_FALSE(card_.locked) << "whatever happened, the lock is given back";
    card = nullptr;
  }
  fake_card card_;
  caught_output output_;
};

TEST_F(TunnelTest, KeepsTheAddressBitsThatTheModeOverlaps) {
  set_wr_mode(1);
  uint32_t value = 0;
  read_val_from_kx(0xFFF00000004, &value);
  EXPECT_EQ(card_.transfers.front(), (transfer{0x9FFF0000, 4}));
}

TEST_F(TunnelTest, GivesUpAfterTheLastPoll) {
  card_.polls_to_answer = 1000000;
  uint32_t value = 7;
  EXPECT_EQ(read_val_from_kx(0x1000, &value), -1);
  EXPECT_EQ(value, 7u);
  EXPECT_EQ(card_.sleeps[10], 20001);
  EXPECT_EQ(card_.transfers.size(), 1u);
  EXPECT_EQ(output_.take(), "wait time: 200 ms, VPD timeout!!!\n");
}

TEST_F(TunnelTest, AcceptsAnAnswerAtTheLastPoll) {
  card_.polls_to_answer = 20001;
  EXPECT_EQ(write_val_to_kx(0x1000, 1), 0);
  EXPECT_EQ(card_.sleeps[10], 2 * 20001);
}

TEST_F(TunnelTest, RefusesWhatIsPlainlyNoMemoryInModeZero) {
  for (const uint64_t address : {0x6208000001ULL, 0x6208000002ULL, 0x100000000000ULL, 0xFFFFFFFFFFFFFFFCULL}) {
    uint32_t value = 0;
    EXPECT_EQ(read_val_from_kx(address, &value), -1);
    EXPECT_EQ(write_val_to_kx(address, 0), -1);
    set_wr_mode(2);
    EXPECT_EQ(write_val_to_kx(address, 0), -1) << "writes are checked in every mode but 1";
    set_wr_mode(0);
  }
  EXPECT_THAT(card_.transfers, IsEmpty());
  EXPECT_THAT(output_.take(),
              testing::StartsWith("Addr[0x6208000001] is invalid!!!\nAddr[0x6208000001] is invalid!!!\n"));
}

TEST_F(TunnelTest, TellsAFreeChannelFromABusyOne) {
  struct {
    const char* what;
    std::function<uint32_t(int)> field;
    int32_t result;
    int waits;
  } cases[] = {
      {"never changes", [](int) { return 0x123u; }, 0, 19},
      {"marked free", [](int) { return 0x555u; }, 0, 2},
      {"marked free at the end", [](int i) { return i < 17 ? static_cast<uint32_t>(i) : 0x555u; }, 0, 19},
      {"marked twice only", [](int i) { return i % 3 == 2 ? 0x111u : 0x555u; }, -2, 19},
      {"keeps changing", [](int i) { return static_cast<uint32_t>(i & 0xFF); }, -2, 19},
  };
  set_secure_mode(1);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    card_ = {.channel_field = c.field, .locked = true};
    uint32_t data = 0;
    EXPECT_EQ(vpd_tracsport_once(card_.bound, 0x20000000, &data), c.result);
    EXPECT_EQ(card_.sleeps[4000], c.waits);
    EXPECT_EQ(card_.transfers.size(), c.result == 0 ? 1u : 0u);
  }
  card_ = {.channel_field = cases[4].field};
  uint32_t value = 0;
  EXPECT_EQ(read_val_from_kx(0x1000, &value), PCIE_TUNNEL_BUSY);
  EXPECT_EQ(write_val_to_kx(0x1000, 0), PCIE_TUNNEL_BUSY);
  EXPECT_THAT(output_.take(), testing::EndsWith("pcie_tool vpd channel is busy, please retry!\n"));
}

TEST_F(TunnelTest, NoticesAnotherProgramThatReadsProductData) {
  const struct {
    const char* what;
    moment at;
    int times;
    int32_t result;
  } cases[] = {
      {"before the command", moment::data_written, 3, 0},
      {"in place of the answer", moment::command_written, 3, 0},
      {"before the answer is fetched", moment::data_to_be_read, 3, 0},
      {"all the time", moment::data_to_be_read, 1000, PCIE_TUNNEL_BUSY},
      {"all the time, in place of the answer", moment::command_written, 1000, PCIE_TUNNEL_BUSY},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    card_ = {.memory = {{0x6200001000, 0xAABBCCDD}}};
    int seen = 0;
    // What a read of the kernel's file leaves: its address with the flag set, and its dword.
    card_.other = [&](moment now) {
      if (now == c.at && seen++ < c.times) {
        card_.command = 0x80000003 | 0x0004 << 16;
        card_.data = 0x58524F43;
        card_.polls_left = 0;
      }
    };
    uint32_t value = 7;
    EXPECT_EQ(told([&] { EXPECT_EQ(read_val_from_kx(0x6200001000, &value), c.result); }) != "", c.result != 0);
    EXPECT_EQ(value, c.result == 0 ? 0xAABBCCDD : 7u);
    seen = 0;
    EXPECT_EQ(told([&] { EXPECT_EQ(write_val_to_kx(0x6200001000, 0x11223344), c.result); }) != "", c.result != 0);
    EXPECT_TRUE(c.result != 0 || card_.memory[0x6200001000] == 0x11223344);
    EXPECT_FALSE(card_.locked);
  }
  EXPECT_EQ(output_.take(), "");
}

// Last in this process: from the first access on the tunnel knows such a card.
TEST_F(TunnelTest, WorksWithACardThatDoesNotKeepWhatItIsGiven) {
  card_.memory[0x1000] = 5;
  card_.other = [this](moment now) {
    if (now == moment::command_written && (card_.command & 0x80000000) != 0) {
      card_.data = 0;
    }
  };
  uint32_t value = 0;
  EXPECT_EQ(read_val_from_kx(0x1000, &value), 0);
  EXPECT_EQ(value, 5u);
  EXPECT_EQ(write_val_to_kx(0x1000, 6), 0);
  EXPECT_EQ(card_.memory[0x1000], 6u);
  EXPECT_EQ(output_.take(), "");
}

// One lock keeps out single accesses, the other one the changes that others make of a part of the word.
TEST_F(TunnelTest, MergesUnderAMaskWithinBothLocks) {
  card_.memory[0x1000] = 0xAABBCCDD;
  EXPECT_EQ(write_mask_to_kx(0x1000, 0x11223344, 0x00FF00FF), 0);
  EXPECT_EQ(card_.memory[0x1000], 0xAA22CC44);
  EXPECT_EQ(card_.takes, 1);
  EXPECT_EQ(card_.transfers_in_operation, 4);
  EXPECT_FALSE(card_.operation);
  card_.operation_refused = true;
  EXPECT_EQ(write_mask_to_kx(0x1000, 0, 0xFFFFFFFF), -1);
  EXPECT_EQ(card_.memory[0x1000], 0xAA22CC44);
}

TEST_F(TunnelTest, FindsTheSpacesOfEveryController) {
  const uint64_t dbi[] = {0x8400000000, 0x8500000000, 0x8600000000, 0x8700000000, 0x8800000000};
  const uint64_t csr[] = {0x6310000000, 0x6314000000, 0x6318000000, 0x631C000000, 0x6320100000};
  for (uint32_t n = 0; n < 5; ++n) {
    card_.memory[dbi[n] + 0x40] = 0xD0 + n;
    uint32_t value = 0;
    EXPECT_EQ(pcie_dbi_read(n, 0x40, &value), 0);
    EXPECT_EQ(value, 0xD0 + n);
    EXPECT_EQ(pcie_csr_write(n, 0x80, 0xC0 + n), 0);
    EXPECT_EQ(card_.memory[csr[n] + 0x80], 0xC0 + n);
    card_.memory[dbi[n] + 0x8BC] = 0xF0;
    EXPECT_EQ(pcie_dbi_ro_wr_en(n, 1), 0);
    EXPECT_EQ(card_.memory[dbi[n] + 0x8BC], 0xF1u);
    EXPECT_EQ(pcie_dbi_ro_wr_en(n, 0), 0);
    EXPECT_EQ(card_.memory[dbi[n] + 0x8BC], 0xF0u);
  }
  const size_t before = card_.transfers.size();
  uint32_t value = 0;
  EXPECT_EQ(pcie_dbi_read(5, 0, &value), -1);
  EXPECT_EQ(pcie_csr_write_mask(0xFFFFFFFF, 0, 0, 0), -1);
  EXPECT_EQ(card_.transfers.size(), before);
  EXPECT_EQ(output_.take(), "ep_no input error\nep_no input error\n");
}

TEST_F(TunnelTest, WalksExtendedCapabilitiesInCardMemory) {
  constexpr uint64_t BASE = 0x8400000000;
  card_.memory = {{BASE + 0x100, 0x14000001},
                  {BASE + 0x140, 0x2001000B},
                  {BASE + 0x144, 0x00000001},
                  {BASE + 0x200, 0x1001000B},
                  {BASE + 0x204, 0x00010002}};
  uint32_t offset = 0;
  EXPECT_EQ(pcie_find_ext_capability_directly(BASE, 11, 2, &offset), 0);
  EXPECT_EQ(offset, 0x200u);
  // The last one points back to the first: the walk ends all the same.
  EXPECT_EQ(pcie_find_ext_capability_directly(BASE, 16, 0, &offset), -1);
  card_.memory[BASE + 0x100] = 0xFFFFFFFF;
  EXPECT_EQ(pcie_find_ext_capability_directly(BASE, 16, 0, &offset), -1);
  EXPECT_EQ(output_.take(), "pcie ecap[0x10] not find\ncap_id_addr invalid\n");
}

}  // namespace
