// Two tools on one card at the same time: each reads what it asked for and finds what it wrote, because accesses that
// belong together exclude those of other processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "system/process.h"

namespace {

using testing::AnyOf;
using testing::HasSubstr;

constexpr int ROUNDS = 25;

/// The same lines over and over, typed into a shell of the super user.
std::string typed(const std::string& lines, int rounds = ROUNDS) {
  std::string text = "0\nsu opsu\n";
  for (int i = 0; i < rounds; ++i) {
    text += lines;
  }
  return text + "quit\n";
}

/// Runs `before` alone, then two shells side by side; what each of these printed.
struct Pair {
  std::string first;
  std::string second;
};
Pair side_by_side(const std::string& before, const std::string& first, const std::string& second) {
  const kx_system::Folder folder;
  const std::string begin = folder.write("begin", typed(before, 1));
  const std::string a = folder.write("a", typed(first));
  const std::string b = folder.write("b", typed(second));
  const kx_system::Result result =
      kx_system::run(kx_system::script("$KXTOOL < " + begin + " > /dev/null; $KXTOOL < " + a + " > " + a +
                                       ".out & $KXTOOL < " + b + " > " + b + ".out; wait"));
  EXPECT_EQ(result.status, 0);
  std::istringstream told(result.err);
  for (std::string line; std::getline(told, line);) {
    // What setters tell, on a slow machine who waits for whom, and nothing else.
    EXPECT_THAT(line, AnyOf(HasSubstr(" wrote "), HasSubstr("waiting for process ")));
  }
  return {kx_system::Folder::read(a + ".out"), kx_system::Folder::read(b + ".out")};
}

long count(const std::string& text, const std::string& part) {
  long found = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++found;
  }
  return found;
}

// What one tool reads or has just written, no other tool's access to another row, field or half has changed.
TEST(TwoTools, EachFindsWhatItAskedForAndWhatItWrote) {
  const struct {
    const char* before;
    const char* first;
    const char* first_shows;
    const char* second;
    const char* second_shows;
  } places[] = {
      {"kxnp diag_dpp_se_smmu0_wr128 0 5 1 1 1 1\nkxnp diag_dpp_se_smmu0_wr128 0 6 2 2 2 2\n",
       "kxnp diag_dpp_se_smmu0_rd128 0 5\n", "[0x000005]: 0x00000001 0x00000001 0x00000001 0x00000001",
       "kxnp diag_dpp_se_smmu0_rd128 0 6\n", "[0x000006]: 0x00000002 0x00000002 0x00000002 0x00000002"},
      {"kxnp diag_dpp_se_alg_write512_pre_ex 0 0 1 1 1 1 1 1 1 1 1 1\n"
       "kxnp diag_dpp_se_alg_write512_ex 0 5 15\n"
       "kxnp diag_dpp_se_alg_write512_pre_ex 0 0 2 2 2 2 2 2 2 2 2 2\n"
       "kxnp diag_dpp_se_alg_write512_ex 0 6 15\n",
       "kxnp diag_dpp_se_alg_read512 0 5\n",
       "alg[0x000005]: 0x00000001 0x00000001 0x00000001 0x00000001\n 0x00000001 0x00000001 0x00000001 0x00000001\n",
       "kxnp diag_dpp_se_alg_read512 0 6\n",
       "alg[0x000006]: 0x00000002 0x00000002 0x00000002 0x00000002\n 0x00000002 0x00000002 0x00000002 0x00000002\n"},
      {"",
       "kxnp diag_dpp_se_smmu0_wr128 0 5 1 1 1 1\nkxnp diag_dpp_se_smmu0_rd128 0 5\n"
       "kxnp diag_dpp_se_smmu0_wr128 0 5 7 7 7 7\nkxnp diag_dpp_se_smmu0_rd128 0 5\n",
       "0x00000007 0x00000007 0x00000007 0x00000007",
       "kxnp diag_dpp_se_smmu0_wr128 0 6 2 2 2 2\nkxnp diag_dpp_se_smmu0_rd128 0 6\n",
       "0x00000002 0x00000002 0x00000002 0x00000002"},
      {"",
       "kxnp diag_dpp_tlb_entry_cfg_set 0 5 1 0x11 2\nkxnp diag_dpp_tlb_entry_cfg_prt 0 5\n"
       "kxnp diag_dpp_tlb_entry_cfg_set 0 5 1 0x22 2\nkxnp diag_dpp_tlb_entry_cfg_prt 0 5\n",
       "entry_vfid                              : 0x00000022",
       "kxnp diag_dpp_tlb_entry_cfg_pre 0 5 1 0x33 1 0x44\nkxnp diag_dpp_tlb_entry_cfg_prt 0 5\n"
       "kxnp diag_dpp_tlb_entry_cfg_pre 0 5 1 0x55 1 0x66\nkxnp diag_dpp_tlb_entry_cfg_prt 0 5\n",
       "va_l                                    : 0x00000055"},
      {"", "kxvqm host device_state 3 1\nkxvqm host device_state 3 2\n", "announce                    \033[0m: 0x1",
       "kxvqm host device_mac 3 0x11 0x2233\nkxvqm host device_mac 3 0x44 0x5566\n",
       "byte 5                      \033[0m: 0x55"},
  };
  for (const auto& place : places) {
    const Pair saw = side_by_side(place.before, place.first, place.second);
    EXPECT_EQ(count(saw.first, place.first_shows), ROUNDS) << place.first << saw.first;
    EXPECT_EQ(count(saw.second, place.second_shows), ROUNDS) << place.second << saw.second;
  }
}

}  // namespace
