// eRAM entries on the screen and from the command line.
#include <algorithm>

#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"
#include "se_print.h"

namespace {

constexpr const char* ERAM_LABELS[] = {"eram128", "eram64", "eram32", "eram2", "eram1"};

}  // namespace

uint32_t dpp_se_eram_entry_prt(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t clear) {
  uint32_t words[DPP_SE_ERAM_WORDS] = {};
  QLIX_COMM_CALL(dpp_se_smmu0_ind_read, dev_id, addr, mode, clear, words);
  se_words_print(ERAM_LABELS[mode], addr, words, dpp_se_eram_entry_words(mode));
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_smmu0_rd128_more(uint32_t dev_id, uint32_t addr, uint32_t num) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, num, 0, DPP_SE_ERAM_LINES - addr);
  for (uint32_t line = addr; line < addr + num; ++line) {
    QLIX_COMM_CALL(dpp_se_eram_entry_prt, dev_id, line, DPP_SE_ERAM_128, 0);
  }
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_smmu0_scan(uint32_t dev_id, uint32_t addr, uint32_t num) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, num, 0, DPP_SE_ERAM_LINES - addr);
  uint32_t used = 0;
  for (uint32_t line = addr; line < addr + num; ++line) {
    uint32_t words[DPP_SE_ERAM_WORDS] = {};
    QLIX_COMM_CALL(dpp_se_smmu0_ind_read, dev_id, line, DPP_SE_ERAM_128, 0, words);
    if (std::any_of(words, words + DPP_SE_ERAM_WORDS, [](uint32_t word) { return word != 0; })) {
      se_words_print("eram128", line, words, DPP_SE_ERAM_WORDS);
      ++used;
    }
  }
  QLIX_COMM_PRINT("%u of %u lines are not zero\n", used, num);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_smmu0_wr128(uint32_t dev_id, uint32_t addr, uint32_t data0, uint32_t data1, uint32_t data2,
                                 uint32_t data3) {
  const uint32_t words[DPP_SE_ERAM_WORDS] = {data0, data1, data2, data3};
  return QLIX_COMM_CALLED(dpp_se_smmu0_ind_write, dev_id, addr, DPP_SE_ERAM_128, 1, words);
}

// The window takes the mode as it is: in mode 1 the two words are the entry, in mode 0 the first half of a line whose
// second half becomes 0, in the narrow modes only the high word counts.
uint32_t diag_dpp_se_smmu0_wr64(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t data_h, uint32_t data_l) {
  const uint32_t words[DPP_SE_ERAM_WORDS] = {data_h, data_l, 0, 0};
  return QLIX_COMM_CALLED(dpp_se_smmu0_ind_write, dev_id, addr, mode, 1, words);
}
