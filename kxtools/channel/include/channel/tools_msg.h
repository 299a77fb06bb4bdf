// The request record of the maintenance commands and the one path on which all of them reach the card.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "channel/device.h"

/// What the driver does with a message.
enum kxtool_msg_type : uint32_t {
  KXTOOL_MSG_EVENT_REGISTER = 0,
  KXTOOL_MSG_CARD_REQUEST = 1,
  KXTOOL_MSG_DEVICE_INFO = 2,
  KXTOOL_MSG_VF_STATUS = 3,
  KXTOOL_MSG_PHYSICAL_PORT = 4,
  KXTOOL_MSG_PACKET_CAPTURE = 5,
  KXTOOL_MSG_DRIVER_COMPAT = 6,
};

/// Event ids: the module of the card's firmware that a request is for.
enum kxtool_event_id : uint32_t {
  KXTOOL_EVENT_BL1 = 10,
  KXTOOL_EVENT_FW_UPDATE = 27,
  KXTOOL_EVENT_BAR_OFFSET = 33,
  KXTOOL_EVENT_GENERAL = 39,
};

inline constexpr uint16_t KXTOOL_ROUTE_CODE = 3;  ///< the same in every request

/// The area through which the driver tells how an exchange went.
struct kxtool_msg_status {
  uint32_t flag;           ///< 1: the driver processed the message
  int32_t channel_result;  ///< 0, or why the card could not be reached
  uint8_t reserved[56];
};
static_assert(sizeof(kxtool_msg_status) == 64 && offsetof(kxtool_msg_status, channel_result) == 4);

/// The record as the driver reads it; the payload follows at once.
struct tools_msg {
  uint32_t msg_type;
  uint32_t event_pid;
  kxtool_msg_status* status;  ///< only during the exchange
  uint32_t event_id;
  uint16_t route_code;
  uint16_t reserved0;
  void* reply;         ///< the caller's reply buffer
  uint16_t reply_len;  ///< its size; the driver may put the reply's length here
  uint16_t reserved1;
  uint16_t payload_len;
  uint16_t reserved2;
};
static_assert(sizeof(void*) == 8, "the driver reads 64-bit addresses");
static_assert(sizeof(tools_msg) == 40);
static_assert(offsetof(tools_msg, status) == 8 && offsetof(tools_msg, event_id) == 16);
static_assert(offsetof(tools_msg, route_code) == 20 && offsetof(tools_msg, reply) == 24);
static_assert(offsetof(tools_msg, reply_len) == 32 && offsetof(tools_msg, payload_len) == 36);

/// Channel results with which the driver reports a time-out of the card's mailbox or virtqueue.
inline constexpr int32_t KXTOOL_CHANNEL_TIMEOUT_BAR = 6;
inline constexpr int32_t KXTOOL_CHANNEL_TIMEOUT_VQ = -8;

void tarn_tools_free_msg(tools_msg* msg);

struct tarn_tools_msg_deleter {
  void operator()(tools_msg* msg) const {
    tarn_tools_free_msg(msg);
  }
};
using tarn_tools_msg_ptr = std::unique_ptr<tools_msg, tarn_tools_msg_deleter>;

/// A zeroed message with room for `payload_len` payload bytes, which is stored in it; null without memory.
tarn_tools_msg_ptr tarn_tools_alloc_msg(uint16_t payload_len);

/// Prepares `msg` as a request of `event_id` whose reply goes to `reply` (`reply_len` bytes, which must outlive the
/// exchange); the event id's payload is the caller's to fill.
void tarn_tools_msg_request_set(tools_msg* msg, uint32_t event_id, void* reply, uint16_t reply_len);

inline uint8_t* tarn_tools_msg_payload(tools_msg* msg) {
  return reinterpret_cast<uint8_t*>(msg) + sizeof(tools_msg);
}

/// Sends a request on the device's wire and waits for its reply, which is in the message's reply buffer. Returns 0, 1
/// with a message for a failed ioctl, or the driver's channel result, time-outs with a message. In the mailbox a failed
/// exchange ends the process.
int32_t tarn_tools_send_msg(kxtool_device* device, tools_msg* msg);

/// Issues the private ioctl with `data` as the request block's pointer. Returns the system call's result. For the
/// message types that the driver answers itself.
int kx_send_ioctl(kxtool_device* device, void* data);

/// Tells the card's processor who talks to it and learns its OS type, which is stored in `device`. `check` is the value
/// that the driver handed out at event registration, 0 in the mailbox. Returns 0, or -1 with a message.
int32_t kxtool_pcieid_send_ostype_get(kxtool_device* device, uint32_t check);
