// The mailbox in BAR 0: two slots of 2 KiB through which the host and the card's management processor exchange one
// message at a time. Usable for any function of the card; bar_channel.h holds what the commands need.
//
// Codes: 0 good; the positive codes below; -1, -20 and -99 as stated.
#pragma once

#include <cstdint>

#include "channel/device.h"
#include "common/mmio.h"

enum bar_msg_result : int32_t {
  BAR_MSG_OK = 0,
  BAR_MSG_ERR_NULL = 1,    ///< no send descriptor; the receiver found no slot or no memory
  BAR_MSG_ERR_CHAN = 2,    ///< the endpoints have no channel
  BAR_MSG_ERR_MODULE = 3,  ///< invalid event id; also nothing waiting on receive
  BAR_MSG_ERR_BODY_NULL = 4,
  BAR_MSG_ERR_LEN = 5,
  BAR_MSG_ERR_TIME_OUT = 6,
  BAR_MSG_ERR_NULL_FUNC = 8,
  BAR_MSG_ERR_REPEAT_REGISTER = 9,
  BAR_MSG_ERR_UNREGISTER = 10,
  BAR_MSG_ERR_NULL_PARA = 11,
  BAR_MSG_ERR_REPS_LEN = 12,  ///< the reply does not fit the receive buffer
  BAR_MSG_ERR_NOT_REGISTERED = 13,
  BAR_MSG_ERR_VIRTADDR_NULL = 14,
  BAR_MSG_ERR_REPS_ID = 15,     ///< the reply belongs to another message
  BAR_MSG_ERR_RECV_CHECK = 18,  ///< the card's firmware has no function for the request
  BAR_MSG_ERR_TOKEN = -20,
};

inline constexpr uint32_t BAR_MSG_PAYLOAD_MAX = 2036;  ///< bytes
inline constexpr uint32_t BAR_MSG_AREA_SIZE = 4096;    ///< both slots
inline constexpr uint32_t BAR_MSG_EVENT_NUM = 40;      ///< event ids that can be received

/// Endpoints of a message.
inline constexpr uint16_t BAR_MSG_ENDPOINT_TOOL = 0;
inline constexpr uint16_t BAR_MSG_ENDPOINT_CARD = 1;

/// Finds where the mailbox area begins in BAR 0. False when the BAR does not hold all of it.
bool bar_chan_area_find(const kx_mmio_region& bar, uint32_t* offset);

struct bar_msg_send_para {
  kx_mmio_region area;  ///< the mailbox area: from its offset in BAR 0 to the end of the mapping
  const void* payload;
  uint16_t payload_len;
  uint16_t src;  ///< endpoint, 0 or 1
  uint16_t dst;  ///< endpoint, 0 or 1
  uint32_t event_id;
  uint16_t src_pcieid;
  uint16_t dst_pcieid;
};

struct bar_msg_recv_para {
  void* recv_buffer;
  uint16_t buffer_len;  ///< the reply may be shorter; its length is not reported
};

/// Handles one received message on the receive thread: `length` payload bytes of any content; what it writes into
/// `reply` (2036 bytes), with the count in `*reply_len`, goes back with the acknowledgement.
using bar_msg_recv_func = int32_t (*)(const uint8_t* payload, uint16_t length, uint8_t* reply, uint16_t* reply_len);

/// Prepares the callback registry, which is empty then, and the message-id ring. Touches no card. Returns 0.
int32_t tarn_msg_chan_init();
/// Initialises the message-id ring and starts the receive thread, which uses `device` as long as the process lives.
/// Returns 0; a thread that cannot be made costs a message.
int32_t tarn_bc_init(kxtool_device* device);
/// Releases the message-id ring; no message can be sent afterwards. Returns 0.
int32_t tarn_bar_msg_chan_remove();

/// One synchronous request: returns 0 when the reply is in the receive buffer. Any failure prints its line and ends the
/// process with the code: a run never goes on after a failed exchange.
int32_t tarn_bar_chan_sync_msg_send(const bar_msg_send_para* send, const bar_msg_recv_para* recv);

// Callback registry, one slot an event id. Return 0 or a code with a message.
int32_t tarn_bar_chan_msg_recv_register(uint32_t event_id, bar_msg_recv_func callback);
int32_t tarn_bar_chan_msg_recv_unregister(uint32_t event_id);
int32_t tarn_bar_callback_register_state(uint16_t event_id);

struct bar_offset_request {
  kx_mmio_region area;
  uint16_t pcie_id;
  uint16_t type;  ///< which of the function's areas
};
struct bar_offset_result {
  uint32_t bar_offset;
  uint32_t bar_length;
};
/// Asks the card where an area of a PCIe function lies in BAR 0. Returns 0, or -20 with a message for an answer to
/// something else; a failed exchange ends the process.
int32_t tarn_get_bar_offset(const bar_offset_request* request, bar_offset_result* result);

/// Releases both hardware spin locks of a physical function in the regions of its BAR 0.
void bar_chan_pf_init_spinlock(uint16_t pcie_id, const kx_mmio_region& bar0);
