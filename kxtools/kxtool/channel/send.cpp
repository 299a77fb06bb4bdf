// The one request path: driver ioctl for an interface name, mailbox otherwise.
#include <sys/ioctl.h>

#include <cstring>

#include "channel/bar_channel.h"
#include "channel/event.h"
#include "channel/tools_msg.h"
#include "common/report.h"

namespace {

constexpr unsigned long KX_IOCTL_REQUEST = 0x89FD;  // SIOCDEVPRIVATE + 13

int32_t send_by_driver(kxtool_device* device, tools_msg* msg, kxtool_msg_status* status) {
  msg->msg_type = KXTOOL_MSG_CARD_REQUEST;
  msg->status = status;
  msg->event_pid = device->event_pid;
  const int ret = kx_send_ioctl(device, msg);
  if (ret < 0) {
    KXTOOLS_ERR("ioctl error,ret=%d!\n", ret);
    return 1;
  }
  if (status->flag != 1) {
    KXTOOLS_ERR("the user message ioctl to kernel failed!\n");
    return 1;
  }
  if (status->channel_result == KXTOOL_CHANNEL_TIMEOUT_BAR || status->channel_result == KXTOOL_CHANNEL_TIMEOUT_VQ) {
    KXTOOLS_ERR("BAR MSG OR VQ MSG ERR: time out, bar_or_vq_chan_ret = %d!\n", status->channel_result);
  }
  return status->channel_result;
}

}  // namespace

int kx_send_ioctl(kxtool_device* device, void* data) {
  device->ifreq.data = data;
  return ioctl(device->ioctl_socket.get(), KX_IOCTL_REQUEST, &device->ifreq);
}

int32_t tarn_tools_send_msg(kxtool_device* device, tools_msg* msg) {
  if (device->access_mode != KXTOOL_ACCESS_NIC) {
    return kxtool_barch_send_sync(device, KXTOOL_EVENT_GENERAL, tarn_tools_msg_payload(msg), msg->payload_len,
                                  msg->reply, &msg->reply_len);
  }
  kxtool_stats.tx_req.fetch_add(1, std::memory_order_relaxed);
  kxtool_msg_status status = {};
  const uint16_t reply_capacity = msg->reply_len;
  const int32_t result = send_by_driver(device, msg, &status);
  msg->status = nullptr;
  // Callers take what stands here for the bytes that they may read.
  if (msg->reply_len > reply_capacity) {
    msg->reply_len = reply_capacity;
  }
  return result;
}

int32_t kxtool_pcieid_send_ostype_get(kxtool_device* device, uint32_t check) {
  struct {
    uint32_t op_code;
    uint32_t check;
  } const request = {0, check};
  struct {
    uint16_t status;
    uint16_t os_type;
    uint32_t check;
  } reply = {0xFFFF, 0, ~check};  // a reply that is cut short must not pass for a good one
  static_assert(sizeof request == 8 && sizeof reply == 8);

  const tarn_tools_msg_ptr msg = tarn_tools_alloc_msg(sizeof request);
  if (msg) {
    tarn_tools_msg_request_set(msg.get(), KXTOOL_EVENT_GENERAL, &reply, sizeof reply);
    memcpy(tarn_tools_msg_payload(msg.get()), &request, sizeof request);
  }
  if (!msg || tarn_tools_send_msg(device, msg.get()) != 0 || reply.status != 0 || reply.check != check) {
    MSG_CHAN_ERR("dev_pcieid send to riscv failed or check error!\n");
    return -1;
  }
  device->os_type = reply.os_type;
  return 0;
}
