// Notices: what the card sends on its own. Both channels hand them to the same table of op codes; the handlers pass
// them to whatever the running command registered. Everything here runs on the channel's receive thread.
#pragma once

#include <atomic>
#include <cstdint>

/// Receives one notice: `length` bytes at `payload`, of any content, valid until it returns.
using kxtool_notice_cb = void (*)(const uint8_t* payload, uint32_t length);

/// Handles the notices of one op code. The first 32-bit word of the payload is the op code.
using kxtool_event_handler = void (*)(const uint8_t* payload, uint32_t length);

struct kxtool_event_op {
  uint32_t op_code;
  kxtool_event_handler handler;
};

inline constexpr uint32_t KXTOOL_EVENT_OP_NUM = 10;
extern const kxtool_event_op kxtool_event_op_table[KXTOOL_EVENT_OP_NUM];
uint32_t kxtool_event_op_code_num_get();

/// Runs the first row of the table for the op code of `payload`. Returns false, with `op_code` set (0 for a payload
/// that is too short to hold one), when no row matches.
bool kxtool_event_dispatch(const uint8_t* payload, uint32_t length, uint32_t* op_code);

/// General result notices.
void kxtool_recv_cb(const uint8_t* payload, uint32_t length);
/// Log data, and the end of a log transfer.
void kxtool_log_async_recv_process(const uint8_t* payload, uint32_t length);
void kxtool_log_get_finish_process(const uint8_t* payload, uint32_t length);

/// What the running command wants to hear of; null (the start value) drops the notices of that kind. May be called
/// while the receive thread runs.
void kxtool_recv_cb_set(kxtool_notice_cb callback);
void kxtool_log_data_cb_set(kxtool_notice_cb callback);
void kxtool_log_finish_cb_set(kxtool_notice_cb callback);

/// Why the card's notices cannot reach this process, for people; null while they can. Any thread may ask.
const char* kxtool_notice_deafness();
/// Set by the receivers: a text that lives as long as the process, or null when notices come again.
void kxtool_notice_deafness_set(const char* reason);

/// Process statistics of both channels: requests are counted by the command's thread, notices by the receive thread.
struct kxtool_channel_stats {
  std::atomic<uint32_t> tx_req;
  std::atomic<uint32_t> rx_pkt;
};
extern kxtool_channel_stats kxtool_stats;
