// Notices: the callback registry and the thread that polls the notice slot.
#include "mailbox_receive.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

#include "channel/bar_channel.h"
#include "channel/event.h"
#include "channel/thread.h"
#include "common/report.h"
#include "device/bar.h"
#include "mailbox_ring.h"

namespace {

constexpr uint32_t RX_POLL_TICK_US = 5000;

// Microseconds; any thread may change it, the receive thread reads it.
std::atomic<uint32_t> g_bar_rx_poll_tick = RX_POLL_TICK_US;

// Written by whoever registers, read by the receive thread.
std::atomic<bar_msg_recv_func> msg_recv_func_tbl[BAR_MSG_EVENT_NUM];

using buffer_owner = std::unique_ptr<uint8_t, void (*)(void*)>;

buffer_owner buffer_allocate(size_t size) {
  return {static_cast<uint8_t*>(calloc(std::max<size_t>(size, 1), 1)), free};
}

// Received headers carry the event id in one byte.
uint8_t event_id_get(const bar_msg_header& header) {
  return static_cast<uint8_t>(header.event_id & 0xFF);
}

// The card may send what no callback waits for; its event id is below the table's size.
int32_t call_msg_recv_func_tbl(uint8_t event_id, std::span<const uint8_t> payload, uint8_t* reply,
                               uint16_t* reply_len) {
  const bar_msg_recv_func callback = msg_recv_func_tbl[event_id].load(std::memory_order_acquire);
  if (callback == nullptr) {
    MSG_CHAN_ERR("event_id[%d] unregister\n", event_id);
    return BAR_MSG_ERR_NOT_REGISTERED;
  }
  return callback(payload.data(), static_cast<uint16_t>(payload.size()), reply, reply_len);
}

void message_acknowledge(const kx_mmio_region& slot, bar_msg_header header, std::span<const uint8_t> reply) {
  header.flags |= BAR_FLAG_ACK;
  header.length = static_cast<uint16_t>(reply.size());
  bar_header_write(slot, header);
  bar_payload_write(slot, reply);
}

// Held during every look, so that the BAR is not unmapped under it and no callback comes in the middle of it.
constinit std::mutex rx_mutex;

constexpr char SLOT_BLOCKED[] = "a notice that cannot be taken stands in the card's mailbox";

// The header of that notice, while one stands there. Under rx_mutex.
constinit bar_msg_header slot_blocking = {};

// What failed the check stays in the slot, and nothing else can come through it.
void slot_judge(const bar_msg_header& refused) {
  slot_blocking = refused;
  kxtool_notice_deafness_set((refused.flags & BAR_FLAG_VALID) != 0 ? SLOT_BLOCKED : nullptr);
}

// Looks once; false when the BAR is gone.
bool notice_slot_look(const kxtool_device& device, bar_rx_state* state) {
  const std::lock_guard lock(rx_mutex);
  const kx_mmio_region area = device.bar.from(device.bar_offset);
  if (area.base == nullptr) {
    return false;
  }
  bar_chan_rx_poll(area, BAR_MSG_ENDPOINT_CARD, BAR_MSG_ENDPOINT_TOOL, state);
  if (kx_mmio_is_lost(area)) {
    kxtool_notice_deafness_set("the card's BAR was taken away");
    return false;
  }
  slot_judge(state->refused);
  return true;
}

void bc_rx_poll_proc(void* device) {
  bar_rx_state state;
  while (notice_slot_look(*static_cast<const kxtool_device*>(device), &state)) {
    usleep(tarn_rx_poll_tick_get());
  }
}

}  // namespace

int32_t bar_chan_recv_header_check(const bar_msg_header& header, bool silent) {
  if ((header.flags & BAR_FLAG_VALID) == 0) {
    return BAR_MSG_ERR_MODULE;
  }
  const uint8_t event_id = event_id_get(header);
  if (event_id >= BAR_MSG_EVENT_NUM) {
    if (!silent) {
      MSG_CHAN_ERR("recv header ERR: invalid event_id: %d.\n", event_id);
    }
    return BAR_MSG_ERR_MODULE;
  }
  if (header.length > BAR_MSG_PAYLOAD_MAX) {
    if (!silent) {
      MSG_CHAN_ERR("recv header ERR: invalid mesg len: %d.\n", header.length);
    }
    return BAR_MSG_ERR_LEN;
  }
  if ((header.flags & BAR_FLAG_ACK) == 0 && msg_recv_func_tbl[event_id].load(std::memory_order_acquire) == nullptr) {
    if (!silent) {
      MSG_CHAN_DEBUG("recv header ERR: module:%d  doesn't register\n", event_id);
    }
    return BAR_MSG_ERR_NOT_REGISTERED;
  }
  return BAR_MSG_OK;
}

kx_mmio_region bar_reply_slot(const kx_mmio_region& area, uint16_t src, uint16_t dst, uint8_t received_flags) {
  // The roles are swapped: the row comes from the destination, the column from the source.
  bar_route route = {};
  if (!bar_route_get(bar_row_index(dst), bar_column_index(src), &route)) {
    return {};
  }
  const bool same = (received_flags & BAR_FLAG_ROUTE) != 0;
  return bar_slot_get(area, route.channel, same ? route.sub_channel : 1u - route.sub_channel);
}

int32_t bar_chan_rx_poll(const kx_mmio_region& area, uint16_t src, uint16_t dst, bar_rx_state* state) {
  const kx_mmio_region slot = bar_slot_of_message(area, src, dst);
  if (slot.base == nullptr) {
    MSG_CHAN_ERR("invalid driver type\n");
    return BAR_MSG_ERR_NULL;
  }
  const bar_msg_header header = bar_header_read(slot);
  const bool seen = memcmp(&header, &state->refused, sizeof header) == 0;
  const int32_t check = bar_chan_recv_header_check(header, seen);
  if (check != BAR_MSG_OK) {
    // A message that fails the check stays in the slot, where the next look finds it again: one line is enough.
    state->refused = header;
    return check;
  }
  state->refused = {};
  kxtool_stats.rx_pkt.fetch_add(1, std::memory_order_relaxed);
  const buffer_owner payload = buffer_allocate(header.length);
  if (!payload) {
    MSG_CHAN_ERR("create temp buff failed\n");
    return BAR_MSG_ERR_NULL;
  }
  bar_payload_read(slot, {payload.get(), header.length});

  const buffer_owner reply = buffer_allocate(BAR_MSG_PAYLOAD_MAX);
  if (reply) {
    uint16_t reply_len = 0;
    call_msg_recv_func_tbl(event_id_get(header), {payload.get(), header.length}, reply.get(), &reply_len);
    reply_len = std::min<uint16_t>(reply_len, BAR_MSG_PAYLOAD_MAX);
    message_acknowledge(bar_reply_slot(area, src, dst, header.flags), header, {reply.get(), reply_len});
  }
  bar_flags_clear(slot, BAR_FLAG_POLL_TAG);
  bar_flags_clear(slot, BAR_FLAG_VALID);
  return BAR_MSG_OK;
}

int32_t tarn_bar_chan_msg_recv_register(uint32_t event_id, bar_msg_recv_func callback) {
  if (event_id >= BAR_MSG_EVENT_NUM) {
    MSG_CHAN_ERR("register ERR: invalid event_id: %d.\n", static_cast<int>(event_id));
    return BAR_MSG_ERR_MODULE;
  }
  if (callback == nullptr) {
    MSG_CHAN_ERR("register ERR: null callback.\n");
    return BAR_MSG_ERR_NULL_FUNC;
  }
  const std::lock_guard lock(rx_mutex);
  bar_msg_recv_func empty = nullptr;
  if (!msg_recv_func_tbl[event_id].compare_exchange_strong(empty, callback, std::memory_order_acq_rel)) {
    MSG_CHAN_ERR("register ERR: repeat register.\n");
    return BAR_MSG_ERR_REPEAT_REGISTER;
  }
  // A notice that an earlier tool left behind blocks nobody once it has its callback: the next look takes it.
  if ((slot_blocking.flags & BAR_FLAG_VALID) != 0 && bar_chan_recv_header_check(slot_blocking, true) == BAR_MSG_OK) {
    slot_judge({});
  }
  return BAR_MSG_OK;
}

int32_t tarn_bar_chan_msg_recv_unregister(uint32_t event_id) {
  if (event_id >= BAR_MSG_EVENT_NUM) {
    MSG_CHAN_ERR("unregister ERR: invalid event_id :%d.\n", static_cast<int>(event_id));
    return BAR_MSG_ERR_MODULE;
  }
  if (msg_recv_func_tbl[event_id].exchange(nullptr, std::memory_order_acq_rel) == nullptr) {
    MSG_CHAN_ERR("unregister ERR: null proccess func.\n");
    return BAR_MSG_ERR_UNREGISTER;
  }
  return BAR_MSG_OK;
}

int32_t tarn_bar_callback_register_state(uint16_t event_id) {
  if (event_id >= BAR_MSG_EVENT_NUM) {
    MSG_CHAN_ERR("unregister ERR: invalid event_id :%hu.\n", event_id);
    return BAR_MSG_ERR_MODULE;
  }
  if (msg_recv_func_tbl[event_id].load(std::memory_order_acquire) == nullptr) {
    MSG_CHAN_ERR("unregister ERR: null proccess func.\n");
    return BAR_MSG_ERR_UNREGISTER;
  }
  return BAR_MSG_OK;
}

uint32_t tarn_rx_poll_tick_get() {
  return g_bar_rx_poll_tick.load(std::memory_order_relaxed);
}

void tarn_rx_poll_tick_set(uint32_t microseconds) {
  g_bar_rx_poll_tick.store(microseconds, std::memory_order_relaxed);
}

int32_t tarn_bc_init(kxtool_device* device) {
  if (!bar_msgid_ring_init()) {
    return MSG_CHAN_ERR("msg_id allocated failed.\n");
  }
  tarn_rx_poll_tick_set(RX_POLL_TICK_US);
  if (!kxtool_thread_start(bc_rx_poll_proc, device)) {
    MSG_CHAN_ERR("Error creating recv msg thread !\n");
    kxtool_notice_deafness_set("the thread that receives notices cannot be started");
  }
  return 0;
}

int32_t tarn_bc_exit(kxtool_device* device) {
  const std::lock_guard lock(rx_mutex);
  if (device->bar.base != nullptr) {
    kxtools_dev_unmmap(device->bar.base, device->bar.size);
    device->bar = {};
  }
  return 0;
}

int32_t tarn_bar_msg_chan_remove() {
  bar_msgid_ring_free();
  MSG_CHAN_DEBUG("tarn_msg_chan_bar remove success\n");
  return 0;
}
