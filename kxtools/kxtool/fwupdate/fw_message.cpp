#include "fw_message.h"

#include <algorithm>
#include <cstring>

#include "channel/tools_msg.h"
#include "common/signals.h"
#include "fw_log.h"

namespace {

// The name is that of the log's lines, which only a request through the driver's ioctl can cause: a mailbox exchange
// that fails ends the process.
int32_t kxtool_fw_ioctl_send(kxtool_device* device, const void* payload, uint16_t length, void* reply,
                             uint16_t* reply_len) {
  const tarn_tools_msg_ptr msg = tarn_tools_alloc_msg(length);
  if (!msg) {
    FW_ERR("no memory for a request of %u bytes\n", length);
    return -1;
  }
  tarn_tools_msg_request_set(msg.get(), KXTOOL_EVENT_FW_UPDATE, reply, *reply_len);
  memcpy(tarn_tools_msg_payload(msg.get()), payload, length);
  const int32_t ret = tarn_tools_send_msg(device, msg.get());
  if (ret != 0) {
    FW_ERR("****ret = %d ****\n", ret);
    return -1;
  }
  *reply_len = std::min(*reply_len, msg->reply_len);
  return 0;
}

}  // namespace

int32_t kxtool_fw_msg_send_sync(kxtool_device* device, const void* payload, uint16_t length, void* reply,
                                uint16_t* reply_len) {
  return device->wire == nullptr ? 0 : kxtool_fw_ioctl_send(device, payload, length, reply, reply_len);
}

int32_t fw_request_send(fw_update* update, std::span<const uint8_t> request, std::span<uint8_t> reply,
                        uint16_t reply_min) {
  std::ranges::fill(reply, uint8_t{0});
  const kx_signal_hold hold;
  uint16_t reply_len = static_cast<uint16_t>(reply.size());
  if (update->send(update->device, request.data(), static_cast<uint16_t>(request.size()), reply.data(), &reply_len) !=
      0) {
    return -1;
  }
  if (reply_len < reply_min) {
    FW_ERR("the reply to request %u has %u bytes, must have %u\n", request[0], reply_len, reply_min);
    return -1;
  }
  return 0;
}

int32_t kxtool_fw_msg_send_sync_no_reply(fw_update* update, std::span<const uint8_t> request) {
  uint8_t scratch[3];
  return fw_request_send(update, request, std::span(scratch).first(1), 0);
}
