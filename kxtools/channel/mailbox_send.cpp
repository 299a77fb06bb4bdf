#include "mailbox_send.h"

#include <cstdio>

#include "channel/process_exit.h"
#include "common/report.h"
#include "common/wait.h"
#include "mailbox_lock.h"
#include "mailbox_ring.h"
#include "mailbox_slot.h"

namespace {

constexpr uint32_t EVENT_ID_SEND_MAX = BAR_MSG_EVENT_NUM;  // one more than can be received
constexpr uint16_t SYNC_MSG_ID = 0;                        // only one request is outstanding in a process
constexpr uint32_t POLL_US = 100;
constexpr uint32_t POLLS_MAX = 100000;

// Waits until the card has taken the message. False when the time is over, or the card is gone.
bool reply_wait(const kx_mmio_region& slot) {
  const kx_waited waited = kx_wait({.step_us = POLL_US, .looks = POLLS_MAX, .sleep_first = true}, [&] {
    if (!bar_valid_get(slot)) {
      return kx_look::done;
    }
    return kx_mmio_is_lost(slot) ? kx_look::gone : kx_look::again;
  });
  return waited == kx_waited::done;
}

int32_t reply_take(const kx_mmio_region& slot, const bar_msgid_entry& entry) {
  const bar_msg_header header = bar_header_read(slot);
  if (header.msg_id != entry.id) {
    MSG_CHAN_ERR("send msg id: %d, but get reply msg id: %d.\n", entry.id, header.msg_id);
    return BAR_MSG_ERR_REPS_ID;
  }
  if (header.length > entry.buffer_len) {
    MSG_CHAN_ERR("reps_buf_len is %d, but reps_msg_len is %d\n", entry.buffer_len, header.length);
    return BAR_MSG_ERR_REPS_LEN;
  }
  bar_payload_read(slot, {static_cast<uint8_t*>(entry.recv_buffer), header.length});
  return BAR_MSG_OK;
}

// With the channel locked.
int32_t slot_exchange(const bar_msg_send_para& send, const bar_msgid_entry& entry) {
  const kx_mmio_region slot = bar_slot_of_message(send.area, send.src, send.dst);
  const bar_msg_header header = {
      .flags = 0,
      .reserved = 0,
      .event_id = static_cast<uint16_t>(send.event_id),
      .length = send.payload_len,
      .msg_id = entry.id,
      .src_pcieid = send.src_pcieid,
      .dst_pcieid = send.dst_pcieid,
  };
  bar_header_write(slot, header);
  bar_payload_write(slot, {static_cast<const uint8_t*>(send.payload), send.payload_len});
  bar_valid_set(slot);
  if (!reply_wait(slot)) {
    bar_flags_clear(slot, BAR_FLAG_VALID);
    bar_flags_clear(slot, BAR_FLAG_POLL_TAG);
    MSG_CHAN_ERR("BAR MSG ERR: msg_id: %d time out.\n", entry.id);
    return BAR_MSG_ERR_TIME_OUT;
  }
  return reply_take(slot, entry);
}

}  // namespace

int32_t bar_chan_send_para_check(const bar_msg_send_para* send, const bar_msg_recv_para* recv) {
  if (send == nullptr || recv == nullptr) {
    MSG_CHAN_ERR("send para ERR: null para.\n");
    return BAR_MSG_ERR_NULL_PARA;
  }
  if (bar_row_index(send->src) == BAR_INDEX_NONE || bar_column_index(send->dst) == BAR_INDEX_NONE) {
    MSG_CHAN_ERR("send para ERR: chan doesn't exist.\n");
    return BAR_MSG_ERR_CHAN;
  }
  if (send->event_id > EVENT_ID_SEND_MAX) {
    MSG_CHAN_ERR("send para ERR: invalid event_id: %d.\n", static_cast<int>(send->event_id));
    return BAR_MSG_ERR_MODULE;
  }
  if (send->payload == nullptr) {
    MSG_CHAN_ERR("send para ERR: null message.\n");
    return BAR_MSG_ERR_BODY_NULL;
  }
  if (send->payload_len > BAR_MSG_PAYLOAD_MAX) {
    MSG_CHAN_ERR("send para ERR: len %x is too long.\n", send->payload_len);
    return BAR_MSG_ERR_LEN;
  }
  if (!send->area.holds(0, BAR_MSG_AREA_SIZE) || recv->recv_buffer == nullptr) {
    MSG_CHAN_ERR("send para ERR: virt_addr or recv_buffer is NULL.\n");
    return BAR_MSG_ERR_VIRTADDR_NULL;
  }
  return BAR_MSG_OK;
}

int32_t bar_chan_sync_exchange(const bar_msg_send_para* send, const bar_msg_recv_para* recv) {
  if (send == nullptr) {
    return BAR_MSG_ERR_NULL;
  }
  const int32_t check = bar_chan_send_para_check(send, recv);
  if (check != BAR_MSG_OK) {
    MSG_CHAN_ERR("para check failed, %d.\n", check);
    return check;
  }
  bar_msgid_ring* ring = bar_msgid_ring_get();
  if (ring == nullptr) {
    return MSG_CHAN_ERR("msg_id allocated failed.\n");
  }
  // Before the entry is filled: a second sender waits for the first one's reply.
  int32_t result = bar_chan_lock(send->src, send->dst, send->src_pcieid, send->area);
  if (result == 0) {
    bar_msgid_entry& entry = ring->entries[SYNC_MSG_ID];
    entry.recv_buffer = recv->recv_buffer;
    entry.buffer_len = recv->buffer_len;
    result = slot_exchange(*send, entry);
    bar_chan_msgid_free(SYNC_MSG_ID);
    bar_chan_unlock(send->src, send->dst, send->src_pcieid, send->area);
  }
  return result;
}

int32_t tarn_bar_chan_sync_msg_send(const bar_msg_send_para* send, const bar_msg_recv_para* recv) {
  const int32_t result = bar_chan_sync_exchange(send, recv);
  if (result != BAR_MSG_OK) {
    if (printf("BAR MSG SEND ERR:ret %d !\n", result) < 0) {
      MSG_CHAN_ERR("fprintf error!\n");
    }
    kxtool_process_exit(result);
  }
  return BAR_MSG_OK;
}
