// The card's permission to update, and the two queries that its answer serves: running version and active partition.
#include <array>
#include <cstring>

#include "channel/bar_channel.h"
#include "common/report.h"
#include "fw_handlers.h"
#include "fw_log.h"
#include "fw_message.h"

namespace {

constexpr uint8_t REQUEST_AUTHORISE = 28;
constexpr uint8_t REQUEST_AUTHORISE_OLD = 18;  // for firmware that does not know the other
constexpr size_t REQUEST_LEN = 65;
constexpr size_t REPLY_LEN = 78;
constexpr size_t REPLY_AUTH = 1;
constexpr size_t REPLY_VERSION = 2;
constexpr size_t REPLY_VERSION_LEN = 64;
constexpr size_t REPLY_PARTITION = 66;
constexpr uint16_t REPLY_MIN = REPLY_PARTITION + 4;

constexpr int EXIT_REFUSED = 5;
constexpr uint32_t NOTICE_POLL_US = 100;

struct upd_info {
  uint8_t auth;
  std::array<char, FW_IDENTIFICATION_SIZE + 1> version;
  uint32_t partition;
};
static_assert(REPLY_VERSION_LEN == FW_IDENTIFICATION_SIZE);

int32_t auth_ask(fw_update* update, upd_info* info) {
  std::array<uint8_t, REQUEST_LEN> request = {REQUEST_AUTHORISE};
  std::array<uint8_t, REPLY_LEN> reply;
  int32_t ret = fw_request_send(update, request, reply, REPLY_MIN);
  if (ret != 0) {
    request[0] = REQUEST_AUTHORISE_OLD;
    ret = fw_request_send(update, request, reply, REPLY_MIN);
  }
  if (ret != 0) {
    FW_FAIL("bar chan or msgq channel is not work ,try it later!");
    return -1;
  }
  const char* version = reinterpret_cast<const char*>(reply.data()) + REPLY_VERSION;
  info->auth = reply[REPLY_AUTH];
  info->version = fw_text_printable({version, strnlen(version, REPLY_VERSION_LEN)});
  info->partition = fw_get_le32(reply, REPLY_PARTITION);
  return 0;
}

}  // namespace

int32_t kxtool_get_upd_auth_sync(fw_update* update) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  tarn_rx_poll_tick_set(NOTICE_POLL_US);
  upd_info info;
  if (auth_ask(update, &info) != 0) {
    return -1;
  }
  if (info.auth == 0) {
    FW_ERR("risc refuse to update\n");
    kx_error_print("the card refuses the update: nothing was written\n");
    update->exit_status = EXIT_REFUSED;
    kxtool_fw_fsm_set(FW_STATE_FINISHED);
    return -1;
  }
  update->cur_partition = info.partition;
  FW_INFO("upd_info.auth = %d verno %s part%d\n", info.auth, info.version.data(), static_cast<int>(info.partition));
  kxtool_fw_fsm_set(FW_STATE_HEADER);
  return 0;
}

int32_t kxtool_fw_version_get(fw_update* update) {
  upd_info info;
  if (auth_ask(update, &info) != 0) {
    return -1;
  }
  kx_print("running version: %s\n", info.version.data());
  kxtool_fw_fsm_set(FW_STATE_FINISHED);
  return 0;
}

int32_t kxtool_fw_bt_ctrl_get(fw_update* update) {
  upd_info info;
  if (auth_ask(update, &info) != 0) {
    return -1;
  }
  kx_print("active partition: %d\n", static_cast<int>(info.partition));
  kxtool_fw_fsm_set(FW_STATE_FINISHED);
  return 0;
}
