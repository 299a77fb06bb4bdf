// Entries of the policers: three levels (car_type 0 to 2 for a, b and c), each with queues, profiles and a map from
// flows to the queues of the next level.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_ind.h"
#include "dpp_reg/dpp_reg_no.h"
#include "qlix_comm/check.h"

namespace {

constexpr dpp_ind_window car_window = {DPP_DEV_MUTEX_T_CAR, DPP_REG_CAR_CPU_IND_CMD, DPP_REG_CAR_CPU_IND_STATUS,
                                       DPP_REG_CAR_CPU_IND_DATA};
constexpr uint32_t car_words = 8;
constexpr uint32_t cmd_fields = 4;
constexpr uint32_t type_max = 2;
constexpr uint32_t index_max = 0xFFFF;

struct car_memory {
  uint32_t mem_id;
  const char* name;
};
constexpr car_memory queue_memory = {0, "queue"};
constexpr car_memory pkt_queue_memory = {1, "pkt_queue"};
constexpr car_memory profile_memory = {2, "profile"};
constexpr car_memory map_memory = {3, "queue_map"};

// The words stand as the card holds them, word 0 the most significant.
uint32_t entry_prt(uint32_t dev_id, const car_memory& memory, uint32_t car_type, uint32_t index) {
  uint32_t cmd[cmd_fields] = {};
  cmd[DPP_FIELD_CAR_CPU_IND_CMD_CAR_TYPE] = car_type;
  cmd[DPP_FIELD_CAR_CPU_IND_CMD_MEM_ID] = memory.mem_id;
  cmd[DPP_FIELD_CAR_CPU_IND_CMD_IND_ADDR] = index;
  uint32_t words[car_words] = {};
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_ind_read(dev_id, car_window, 0, cmd, words, car_words), "dpp_ind_read");
  QLIX_COMM_PRINT("car%c %s-0x%04x\n", static_cast<char>('a' + car_type), memory.name, index);
  for (uint32_t i = 0; i < car_words; ++i) {
    QLIX_COMM_PRINT("%s_word_%u : 0x%08x\n", memory.name, i, words[i]);
  }
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t diag_dpp_stat_car_queue_cfg_prt(uint32_t dev_id, uint32_t car_type, uint32_t flow_id) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, car_type, 0, type_max);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, flow_id, 0, index_max);
  QLIX_COMM_CHECK_DEV_RC(dev_id, entry_prt(dev_id, queue_memory, car_type, flow_id), "entry_prt");
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_stat_cara_pkt_queue_cfg_prt(uint32_t dev_id, uint32_t flow_id) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, flow_id, 0, index_max);
  QLIX_COMM_CHECK_DEV_RC(dev_id, entry_prt(dev_id, pkt_queue_memory, 0, flow_id), "entry_prt");
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_stat_car_profile_cfg_prt(uint32_t dev_id, uint32_t car_type, uint32_t profile_id) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, car_type, 0, type_max);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, profile_id, 0, index_max);
  QLIX_COMM_CHECK_DEV_RC(dev_id, entry_prt(dev_id, profile_memory, car_type, profile_id), "entry_prt");
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_stat_car_queue_map_prt(uint32_t dev_id, uint32_t car_type, uint32_t flow_id) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, car_type, 0, type_max);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, flow_id, 0, index_max);
  QLIX_COMM_CHECK_DEV_RC(dev_id, entry_prt(dev_id, map_memory, car_type, flow_id), "entry_prt");
  return QLIX_COMM_OK;
}
