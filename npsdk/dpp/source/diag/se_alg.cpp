// Lines of hash and route memory: reads, writes in two steps, and the check of a zgroup.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_access.h"
#include "dpp_reg/dpp_reg_print.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"
#include "qlix_comm/plural.h"
#include "se_print.h"

namespace {

constexpr uint32_t QUARTER_SHIFT = 17;
constexpr uint32_t ARG_WORDS = 10;

/// Lines that differ in one address bit each: a line that answers in place of another shows.
constexpr uint32_t CHECK_LINES[] = {0, 1, 2, 4, 8, 16, 32, 64, 128, 256, DPP_SE_ZCELL_LINES - 1};
constexpr uint32_t CHECK_LINE_NUM = DPP_SE_ZCELL_IN_BLOCK * static_cast<uint32_t>(std::size(CHECK_LINES));

/// The lines of a zblock that are checked, zcell after zcell.
struct zblock_lines {
  uint32_t words[CHECK_LINE_NUM][DPP_SE_ZCELL_WORDS];
};

uint32_t cell_of(uint32_t number) {
  return number / static_cast<uint32_t>(std::size(CHECK_LINES));
}

uint32_t line_of(uint32_t number) {
  return CHECK_LINES[number % std::size(CHECK_LINES)];
}

uint32_t lines_read(uint32_t dev_id, uint32_t zblock, zblock_lines& lines) {
  for (uint32_t i = 0; i < CHECK_LINE_NUM; ++i) {
    QLIX_COMM_CALL(dpp_se_zcell_read, dev_id, zblock, cell_of(i), line_of(i), lines.words[i]);
  }
  return QLIX_COMM_OK;
}

uint32_t lines_write(uint32_t dev_id, uint32_t zblock, const zblock_lines& lines) {
  for (uint32_t i = 0; i < CHECK_LINE_NUM; ++i) {
    QLIX_COMM_CALL(dpp_se_zcell_write, dev_id, zblock, cell_of(i), line_of(i), DPP_SE_QUARTER_ALL, lines.words[i]);
  }
  return QLIX_COMM_OK;
}

// Every word of every line differs from all others and, between the two rounds, in every bit. No quarter has the valid
// bit of an entry, so that the chip finds nothing in it.
void pattern_fill(uint32_t zblock, uint32_t round, zblock_lines& lines) {
  constexpr uint32_t WORDS_IN_QUARTER = 4;
  constexpr uint32_t VALID_BIT = 1u << 31;
  for (uint32_t i = 0; i < CHECK_LINE_NUM; ++i) {
    for (uint32_t word = 0; word < DPP_SE_ZCELL_WORDS; ++word) {
      const uint32_t value = 0x2A000000u | zblock << 18 | cell_of(i) << 16 | line_of(i) << 5 | word;
      const uint32_t turned = round == 0 ? value : ~value;
      lines.words[i][word] = word % WORDS_IN_QUARTER == 0 ? turned & ~VALID_BIT : turned;
    }
  }
}

uint32_t differing_lines(const zblock_lines& a, const zblock_lines& b) {
  uint32_t num = 0;
  for (uint32_t i = 0; i < CHECK_LINE_NUM; ++i) {
    num += memcmp(a.words[i], b.words[i], sizeof a.words[i]) != 0 ? 1 : 0;
  }
  return num;
}

uint32_t patterns_check(uint32_t dev_id, uint32_t zblock, uint32_t* bad) {
  for (const uint32_t round : {0u, 1u}) {
    zblock_lines pattern;
    zblock_lines back;
    pattern_fill(zblock, round, pattern);
    QLIX_COMM_CALL(lines_write, dev_id, zblock, pattern);
    QLIX_COMM_CALL(lines_read, dev_id, zblock, back);
    *bad += differing_lines(pattern, back);
  }
  return QLIX_COMM_OK;
}

// What stood in the lines goes back whatever the check found.
uint32_t zblock_check(uint32_t dev_id, uint32_t zblock, bool writes, uint32_t* bad) {
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_SE_ALG);  // nobody's write gets lost between the two
  zblock_lines before;
  zblock_lines after;
  QLIX_COMM_CALL(lines_read, dev_id, zblock, before);
  if (writes) {
    const uint32_t code = patterns_check(dev_id, zblock, bad);
    QLIX_COMM_CALL(lines_write, dev_id, zblock, before);
    QLIX_COMM_CHECK_DEV_RC(dev_id, code, "patterns_check");
  }
  QLIX_COMM_CALL(lines_read, dev_id, zblock, after);
  *bad += differing_lines(before, after);
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t dpp_se_zgroup_check(uint32_t dev_id, uint32_t zgroup, uint32_t writes) {
  uint32_t bad_blocks = 0;
  for (uint32_t number = 0; number < DPP_SE_ZBLOCK_IN_GROUP; ++number) {
    const uint32_t zblock = zgroup * DPP_SE_ZBLOCK_IN_GROUP + number;
    uint32_t bad = 0;
    QLIX_COMM_CALL(zblock_check, dev_id, zblock, writes != 0, &bad);
    DPP_REG_READ(dpp_regs::zblock_mpr_ecc, ecc, dev_id, zgroup, number);
    const uint32_t double_bit = ecc.dbe_cnt;
    const bool good = bad == 0 && double_bit == 0;
    bad_blocks += good ? 0 : 1;
    QLIX_COMM_PRINT("zblock %02u: %s, %u of %u lines differ, single-bit errors %u, double-bit errors %u\n", zblock,
                    good ? "OK" : "ERROR", bad, CHECK_LINE_NUM, ecc.sbe_cnt, double_bit);
  }
  QLIX_COMM_PRINT("zgroup %u: %u zblocks, %u error%s: %s\n", zgroup, DPP_SE_ZBLOCK_IN_GROUP, bad_blocks,
                  qlix_comm_plural(bad_blocks), bad_blocks == 0 ? "HEALTHY" : "NOT HEALTHY");
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_alg_read512(uint32_t dev_id, uint32_t addr) {
  uint32_t words[DPP_SE_ZCELL_WORDS] = {};
  QLIX_COMM_CALL(dpp_se_alg_read, dev_id, addr, words);
  se_words_print("alg", addr, words, DPP_SE_ZCELL_WORDS);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_alg_read_zblock(uint32_t dev_id, uint32_t zblock) {
  constexpr uint32_t REGISTERS[] = {dpp_regs::zblock_service_configure::NUMBER,
                                    dpp_regs::zblock_hash_zcell_mono::NUMBER, dpp_regs::zblock_hash_arg::NUMBER,
                                    dpp_regs::zblock_mpr_ecc::NUMBER, dpp_regs::zblock_zreg::NUMBER};
  QLIX_COMM_PRINT("zblock %u\n", zblock);
  for (const uint32_t reg_no : REGISTERS) {
    QLIX_COMM_CALL(dpp_reg_fields_print, dev_id, reg_no, zblock / DPP_SE_ZBLOCK_IN_GROUP,
                   zblock % DPP_SE_ZBLOCK_IN_GROUP);
  }
  return QLIX_COMM_OK;
}

// The words wait in the window's own data registers, so the two steps may be two runs of the tool. Any other access
// through the window in between replaces them.
uint32_t diag_dpp_se_alg_write512_pre_ex(uint32_t dev_id, uint32_t first_word, uint32_t word0, uint32_t word1,
                                         uint32_t word2, uint32_t word3, uint32_t word4, uint32_t word5, uint32_t word6,
                                         uint32_t word7, uint32_t word8, uint32_t word9) {
  const uint32_t words[ARG_WORDS] = {word0, word1, word2, word3, word4, word5, word6, word7, word8, word9};
  const uint32_t end = std::min(first_word + ARG_WORDS, DPP_SE_ZCELL_WORDS);
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_SE_ALG);
  for (uint32_t i = first_word; i < end; ++i) {
    // Word 0 stands at the highest address.
    QLIX_COMM_CALL(dpp_reg_write32_bymn, dev_id, dpp_regs::se_alg_ind_data::NUMBER, 0, DPP_SE_ZCELL_WORDS - 1 - i,
                   words[i - first_word]);
  }
  QLIX_COMM_PRINT("words %u to %u wait for diag_dpp_se_alg_write512_ex\n", first_word, end - 1);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_alg_write512_ex(uint32_t dev_id, uint32_t addr, uint32_t quarters) {
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_SE_ALG);
  uint32_t words[DPP_SE_ZCELL_WORDS] = {};
  for (uint32_t i = 0; i < DPP_SE_ZCELL_WORDS; ++i) {
    QLIX_COMM_CALL(dpp_reg_read32, dev_id, dpp_regs::se_alg_ind_data::NUMBER, 0, DPP_SE_ZCELL_WORDS - 1 - i, &words[i]);
  }
  const uint32_t enables = quarters != 0 ? quarters : DPP_SE_QUARTER_ALL;
  return QLIX_COMM_CALLED(dpp_se_alg_write, dev_id, enables << QUARTER_SHIFT | addr, words);
}
