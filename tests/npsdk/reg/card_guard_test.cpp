// The lock that keeps other processes from a card while accesses go on that belong together.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_access.h"
#include "dpp_reg/dpp_reg_types.h"
#include "on_memory.h"

namespace {

std::atomic<int> takes;
std::atomic<int> inside;
std::atomic<int> overlaps;
bool refused = false;

uint32_t take(uint32_t /*dev_id*/) {
  if (refused) {
    return 1;
  }
  ++takes;
  overlaps += ++inside == 1 ? 0 : 1;
  return 0;
}

void give(uint32_t /*dev_id*/) {
  --inside;
}

class CardGuard : public OnMemory {
 protected:
  CardGuard() {
    takes = 0;
    overlaps = 0;
    EXPECT_EQ(dpp_dev_card_lock_set(0, {take, give}), 0u);
  }
  ~CardGuard() override {
    refused = false;
    dpp_dev_card_lock_set(0, {});
  }
};

uint32_t line_read_held() {
  DPP_OPERATION_GUARD(guard, 0, DPP_DEV_MUTEX_T_SE_ALG);
  uint32_t words[DPP_SE_ALG_WORDS];
  const uint32_t rc = dpp_se_alg_read(0, 5, words);
  return rc != 0 ? rc : dpp_se_alg_read(0, 6, words);
}

struct Operation {
  const char* what;
  int takes;
  std::function<uint32_t()> run;
};

thread_local uint32_t words[DPP_REG_FIELD_MAX];

const Operation operations[] = {
    {"a register of one word", 0, [] { return dpp_reg_read32(0, dpp_regs::cpu_check_reg::NUMBER, 0, 0, words); }},
    {"a register of several words", 1, [] { return dpp_reg_write(0, dpp_regs::se_sdt_tbl::NUMBER, 0, 3, words); }},
    {"a window read", 1, [] { return dpp_se_alg_read(0, 5, words); }},
    {"a window write", 1, [] { return dpp_se_alg_write(0, 5, words); }},
    {"a word of the traffic manager", 1, [] { return dpp_tm_write(0, 5, words); }},
    {"a register behind a window", 1,
     [] { return dpp_reg_read(0, dpp_regs::zblock_service_configure::NUMBER, 1, 2, words); }},
    {"two operations that belong together", 1, line_read_held},
};

TEST_F(CardGuard, IsTakenOnceAnOperation) {
  for (const Operation& operation : operations) {
    takes = 0;
    EXPECT_EQ(operation.run(), 0u) << operation.what;
    EXPECT_EQ(takes, operation.takes) << operation.what;
    EXPECT_EQ(inside, 0) << operation.what;
  }
}

TEST_F(CardGuard, NothingIsTouchedWithoutIt) {
  refused = true;
  for (const Operation& operation : operations) {
    np_test::memory().writes.clear();
    np_test::memory().reads = 0;
    EXPECT_EQ(operation.run(), operation.takes == 0 ? 0u : DPP_RC_DEV_CARD_BUSY) << operation.what;
    EXPECT_TRUE(np_test::memory().writes.empty()) << operation.what;
    EXPECT_EQ(np_test::memory().reads, operation.takes == 0 ? 1u : 0u) << operation.what;
  }
  refused = false;
  EXPECT_EQ(line_read_held(), 0u) << "a refusal leaves the mutexes free";
}

// Windows with different operation mutexes share the card, and no order of locks lets two threads wait for each other.
TEST_F(CardGuard, ThreadsTakeItOneAfterTheOther) {
  np_test::memory().record = false;
  const auto work = [](const Operation& operation) {
    for (int i = 0; i < 2000; ++i) {
      EXPECT_EQ(operation.run(), 0u);
    }
  };
  std::thread together(work, operations[6]);
  work(operations[4]);
  together.join();
  EXPECT_EQ(takes, 4000);
  EXPECT_EQ(overlaps, 0);
}

}  // namespace
