// Entries of the policers: three levels (car_type 0 to 2 for a, b and c), each with queues, profiles and a map from
// flows to the queues of the next level.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_ind.h"
#include "dpp_reg/dpp_reg_no.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr dpp_ind_window car_window = {DPP_DEV_MUTEX_T_CAR, DPP_REG_CAR_CPU_IND_CMD, DPP_REG_CAR_CPU_IND_STATUS,
                                       DPP_REG_CAR_CPU_IND_DATA};
constexpr uint32_t car_words = 8;
constexpr uint32_t cmd_fields = 4;
// By the number that the window takes.
constexpr const char* memory_names[] = {"queue", "pkt_queue", "profile", "queue_map"};

}  // namespace

// The words stand as the card holds them, word 0 the most significant.
uint32_t dpp_stat_car_entry_prt(uint32_t dev_id, uint32_t memory, uint32_t car_type, uint32_t index) {
  uint32_t cmd[cmd_fields] = {};
  cmd[DPP_FIELD_CAR_CPU_IND_CMD_CAR_TYPE] = car_type;
  cmd[DPP_FIELD_CAR_CPU_IND_CMD_MEM_ID] = memory;
  cmd[DPP_FIELD_CAR_CPU_IND_CMD_IND_ADDR] = index;
  uint32_t words[car_words] = {};
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_ind_read(dev_id, car_window, 0, cmd, words, car_words), "dpp_ind_read");
  QLIX_COMM_PRINT("car%c %s-0x%04x\n", static_cast<char>('a' + car_type), memory_names[memory], index);
  for (uint32_t i = 0; i < car_words; ++i) {
    QLIX_COMM_PRINT("%s_word_%u : 0x%08x\n", memory_names[memory], i, words[i]);
  }
  return QLIX_COMM_OK;
}
