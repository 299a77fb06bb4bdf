// The card's permission to update, and the two queries that its answer serves: running version and active partition.
#include <array>
#include <cstring>

#include "channel/bar_channel.h"
#include "common/little_endian.h"
#include "common/report.h"
#include "fw_handlers.h"
#include "fw_log.h"
#include "fw_message.h"
#include "fw_plan.h"
#include "fw_tell.h"
#include "fwupdate/running.h"

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

static_assert(REPLY_VERSION_LEN == FW_IDENTIFICATION_SIZE);

}  // namespace

namespace {

int32_t running_ask(fw_update* update, fw_running* running) {
  std::array<uint8_t, REQUEST_LEN> request = {REQUEST_AUTHORISE};
  std::array<uint8_t, REPLY_LEN> reply;
  int32_t ret = fw_request_send(update, request, reply, REPLY_MIN);
  if (ret != 0) {
    request[0] = REQUEST_AUTHORISE_OLD;
    ret = fw_request_send(update, request, reply, REPLY_MIN);
  }
  if (ret != 0) {
    return -1;
  }
  const char* version = reinterpret_cast<const char*>(reply.data()) + REPLY_VERSION;
  running->allows_update = reply[REPLY_AUTH];
  running->version = fw_text_printable({version, strnlen(version, REPLY_VERSION_LEN)});
  running->partition = kx_le_get<uint32_t>(reply, REPLY_PARTITION);
  return 0;
}

}  // namespace

int32_t fw_running_ask(fw_update* update, fw_running* running) {
  if (running_ask(update, running) != 0) {
    return FW_FAIL("bar chan or msgq channel is not work ,try it later!");
  }
  return 0;
}

int32_t kxtool_fw_running_ask(kxtool_device* device, fw_running* running) {
  fw_update update;
  update.device = device;
  update.send = kxtool_fw_msg_send_sync;
  return running_ask(&update, running);
}

int32_t kxtool_get_upd_auth_sync(fw_update* update) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  tarn_rx_poll_tick_set(NOTICE_POLL_US);
  fw_running* running = &update->running;
  if (fw_running_ask(update, running) != 0) {
    return -1;
  }
  update->cur_partition = running->partition;
  fw_plan_tell(update);
  if (running->allows_update == 0) {
    FW_ERR("risc refuse to update\n");
    fw_announce(*update, "the card refuses the update: nothing was written");
    update->exit_status = EXIT_REFUSED;
    kxtool_fw_fsm_set(FW_STATE_FINISHED);
    return -1;
  }
  FW_INFO("upd_info.auth = %d verno %s part%d\n", running->allows_update, running->version.data(),
          static_cast<int>(running->partition));
  kxtool_fw_fsm_set(FW_STATE_HEADER);
  return 0;
}

int32_t kxtool_fw_version_get(fw_update* update) {
  if (fw_running_ask(update, &update->running) != 0) {
    return -1;
  }
  kx_print("running version: %s\n", update->running.version.data());
  kxtool_fw_fsm_set(FW_STATE_FINISHED);
  return 0;
}

int32_t kxtool_fw_bt_ctrl_get(fw_update* update) {
  if (fw_running_ask(update, &update->running) != 0) {
    return -1;
  }
  kx_print("active partition: %d\n", static_cast<int>(update->running.partition));
  kxtool_fw_fsm_set(FW_STATE_FINISHED);
  return 0;
}
