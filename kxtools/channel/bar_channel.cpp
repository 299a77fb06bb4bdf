#include "channel/bar_channel.h"

#include <sys/prctl.h>
#include <unistd.h>

#include "channel/event.h"
#include "channel/mailbox.h"
#include "channel/tools_msg.h"
#include "common/little_endian.h"
#include "common/report.h"
#include "device/bar.h"
#include "qlix_comm/device_order.h"

namespace {

constexpr useconds_t AFTER_CLEAR_US = 1000;
// The kernel may lengthen every sleep by its timer slack, 50 us unless told otherwise: too much beside polls of 100 us.
constexpr unsigned long TIMER_SLACK_NS = 1000;

constexpr uint16_t NO_REPLY_BUFFER = 3;
constexpr uint16_t NO_REPLY_LEN = 1;

int32_t bar_map(kxtool_device* device) {
  kxtools_dev_info info = {};
  if (kxtools_dev_info_set(device->sbdf, &info) == 0) {
    device->bar = kxtools_dev_bar(info);
  }
  return device->bar.base == nullptr ? -1 : 0;
}

// Finds the area and makes both slots idle. Nothing is written when the BAR does not hold them.
int32_t area_prepare(kxtool_device* device) {
  const kx_mmio_region& bar = device->bar;
  if (!bar_chan_area_find(bar, &device->bar_offset)) {
    return MTS_ERR("BAR 0 of %s has only 0x%llx bytes, the message area lies behind its end\n", device->sbdf_text,
                   static_cast<unsigned long long>(bar.size));
  }
  for (uint32_t offset = 0; offset < BAR_MSG_AREA_SIZE; offset += sizeof(uint32_t)) {
    kx_mmio_write32(bar, device->bar_offset + offset, 0);
  }
  qlix_comm_order_words_before_ready();
  return 0;
}

int32_t kxtool_bc_rx_cb(const uint8_t* payload, uint16_t length, uint8_t* /*reply*/, uint16_t* /*reply_len*/) {
  uint32_t op_code = 0;
  if (!kxtool_event_dispatch(payload, length, &op_code)) {
    return MSG_CHAN_ERR("op_code %d was not found!\n", static_cast<int>(op_code));
  }
  return 0;
}

int32_t kxtool_bc_rx_cb_regist(uint32_t event_id, bar_msg_recv_func callback) {
  const int32_t ret = tarn_bar_chan_msg_recv_register(event_id, callback);
  if (ret != 0) {
    MSG_CHAN_ERR("event_id[%d] register failed: %d\n", static_cast<int>(event_id), ret);
    tarn_bar_chan_msg_recv_unregister(event_id);
  }
  return ret;
}

int32_t mailbox_find(const char* word, uint32_t* sbdf) {
  return pcie_sbdf_parse(sbdf, word);
}

bool mailbox_open(kxtool_device* device) {
  const int32_t ret = kxtool_bc_init(device);
  if (ret != 0) {
    KXTOOLS_ERR("\r****Bar channel initialization has failed ret=%d****\n", ret);
  }
  return ret == 0;
}

int32_t mailbox_send(kxtool_device* device, tools_msg* msg) {
  return kxtool_barch_send_sync(device, msg->event_id, tarn_tools_msg_payload(msg), msg->payload_len, msg->reply,
                                &msg->reply_len);
}

void mailbox_close(kxtool_device* device) {
  tarn_bc_exit(device);
}

}  // namespace

constinit const kxtool_wire kxtool_mailbox_wire = {
    .is_exclusive = true,
    .find = mailbox_find,
    .open = mailbox_open,
    .send = mailbox_send,
    .close = mailbox_close,
};

int32_t kxtool_bc_init(kxtool_device* device) {
  if (bar_map(device) != 0) {
    return MTS_ERR("\r bar map failed\n");
  }
  int32_t ret = area_prepare(device);
  if (ret != 0) {
    return ret;
  }
  usleep(AFTER_CLEAR_US);
  prctl(PR_SET_TIMERSLACK, TIMER_SLACK_NS);
  ret = tarn_bc_init(device);
  if (ret != 0) {
    return ret;
  }
  ret = kxtool_bc_rx_cb_regist(KXTOOL_EVENT_GENERAL, kxtool_bc_rx_cb);
  if (ret != 0) {
    return ret;
  }
  return kxtool_pcieid_send_ostype_get(device, 0);
}

int32_t kxtool_barch_send_sync(kxtool_device* device, uint32_t event_id, const void* payload, uint16_t length,
                               void* reply, const uint16_t* reply_len) {
  kxtool_stats.tx_req.fetch_add(1, std::memory_order_relaxed);
  const bar_msg_send_para send = {
      .area = device->bar.from(device->bar_offset),
      .payload = payload,
      .payload_len = length,
      .src = BAR_MSG_ENDPOINT_TOOL,
      .dst = BAR_MSG_ENDPOINT_CARD,
      .event_id = event_id,
      .src_pcieid = 0,
      .dst_pcieid = 0,
  };
  const bar_msg_recv_para recv = {reply, *reply_len};
  return -tarn_bar_chan_sync_msg_send(&send, &recv);
}

int32_t bl1_bc_send_sync(kxtool_device* device, const void* payload, uint16_t length, void* reply,
                         const uint16_t* reply_len) {
  return kxtool_barch_send_sync(device, KXTOOL_EVENT_BL1, payload, length, reply, reply_len);
}

int32_t bl1_bc_send_no_reply(kxtool_device* device, const void* payload, uint16_t length) {
  uint8_t scratch[NO_REPLY_BUFFER];
  return bl1_bc_send_sync(device, payload, length, scratch, &NO_REPLY_LEN);
}

int32_t tarn_get_bar_offset(const bar_offset_request* request, bar_offset_result* result) {
  if (request == nullptr || result == nullptr) {
    return MSG_CHAN_ERR("NULL ptr\n");
  }
  constexpr size_t REPLY_TOKEN = 4;
  constexpr size_t REPLY_OFFSET = 8;
  constexpr size_t REPLY_LENGTH = 12;
  uint8_t payload[4];
  kx_le_put(payload, 0, request->pcie_id);
  kx_le_put(payload, sizeof request->pcie_id, request->type);
  uint8_t reply[BAR_MSG_PAYLOAD_MAX] = {};
  const bar_msg_send_para send = {
      .area = request->area,
      .payload = payload,
      .payload_len = sizeof payload,
      .src = BAR_MSG_ENDPOINT_TOOL,
      .dst = BAR_MSG_ENDPOINT_CARD,
      .event_id = KXTOOL_EVENT_BAR_OFFSET,
      .src_pcieid = request->pcie_id,
      .dst_pcieid = 0,
  };
  const bar_msg_recv_para recv = {reply, sizeof reply};
  const int32_t ret = tarn_bar_chan_sync_msg_send(&send, &recv);
  if (ret != 0) {
    return -ret;
  }
  const uint16_t expected = static_cast<uint16_t>(payload[0] + payload[1] + payload[2] + payload[3]);
  const uint16_t token = kx_le_get<uint16_t>(reply, REPLY_TOKEN);
  if (token != expected) {
    MSG_CHAN_ERR("expect token: 0x%x, get token: 0x%x.\n", expected, token);
    return BAR_MSG_ERR_TOKEN;
  }
  result->bar_offset = kx_le_get<decltype(result->bar_offset)>(reply, REPLY_OFFSET);
  result->bar_length = kx_le_get<decltype(result->bar_length)>(reply, REPLY_LENGTH);
  return 0;
}
