// Entries of the policers: three levels (car_type 0 to 2 for a, b and c), each with queues, profiles and a map from
// flows to the queues of the next level.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_reg/dpp_window.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr auto CAR_WINDOW =
    dpp_window_of<dpp_regs::car_cpu_ind_cmd, dpp_regs::car_cpu_ind_status, dpp_regs::car_cpu_ind_data>(
        DPP_DEV_MUTEX_T_CAR);
constexpr uint32_t CAR_WORDS = 8;
// By the number that the window takes.
constexpr const char* MEMORY_NAMES[] = {"queue", "pkt_queue", "profile", "queue_map"};

}  // namespace

// The words stand as the card holds them, word 0 the most significant.
uint32_t dpp_stat_car_entry_prt(uint32_t dev_id, uint32_t memory, uint32_t car_type, uint32_t index) {
  dpp_regs::car_cpu_ind_cmd cmd = {};
  cmd.car_type = car_type;
  cmd.mem_id = memory;
  cmd.ind_addr = index;
  uint32_t words[CAR_WORDS] = {};
  QLIX_COMM_CALL(dpp_window_read, dev_id, CAR_WINDOW, 0, cmd, words);
  QLIX_COMM_PRINT("car%c %s-0x%04x\n", static_cast<char>('a' + car_type), MEMORY_NAMES[memory], index);
  for (uint32_t i = 0; i < CAR_WORDS; ++i) {
    QLIX_COMM_PRINT("%s_word_%u : 0x%08x\n", MEMORY_NAMES[memory], i, words[i]);
  }
  return QLIX_COMM_OK;
}
