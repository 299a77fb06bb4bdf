#include "channel/event.h"

#include <cstring>

namespace {

std::atomic<kxtool_notice_cb> result_cb = nullptr;
std::atomic<kxtool_notice_cb> log_data_cb = nullptr;
std::atomic<kxtool_notice_cb> log_finish_cb = nullptr;

std::atomic<const char*> deafness = nullptr;

void hand_on(const std::atomic<kxtool_notice_cb>& slot, const uint8_t* payload, uint32_t length) {
  // Acquire: what the command prepared before it registered is seen by its callback.
  const kxtool_notice_cb callback = slot.load(std::memory_order_acquire);
  if (callback != nullptr) {
    callback(payload, length);
  }
}

}  // namespace

constinit kxtool_channel_stats kxtool_stats = {};

constexpr kxtool_event_op kxtool_event_op_table[KXTOOL_EVENT_OP_NUM] = {
    {1, kxtool_log_async_recv_process},
    {2, kxtool_recv_cb},
    {3, kxtool_recv_cb},
    {4, kxtool_recv_cb},
    {5, kxtool_recv_cb},
    {7, kxtool_recv_cb},
    {10, kxtool_recv_cb},
    {14, kxtool_recv_cb},
    {17, kxtool_recv_cb},
    {11, kxtool_log_get_finish_process},
};

const char* kxtool_notice_deafness() {
  return deafness.load(std::memory_order_acquire);
}

void kxtool_notice_deafness_set(const char* reason) {
  deafness.store(reason, std::memory_order_release);
}

uint32_t kxtool_event_op_code_num_get() {
  return KXTOOL_EVENT_OP_NUM;
}

bool kxtool_event_dispatch(const uint8_t* payload, uint32_t length, uint32_t* op_code) {
  *op_code = 0;
  if (length < sizeof *op_code) {
    return false;
  }
  memcpy(op_code, payload, sizeof *op_code);
  for (uint32_t i = 0; i < kxtool_event_op_code_num_get(); ++i) {
    if (kxtool_event_op_table[i].op_code == *op_code) {
      kxtool_event_op_table[i].handler(payload, length);
      return true;
    }
  }
  return false;
}

void kxtool_recv_cb(const uint8_t* payload, uint32_t length) {
  hand_on(result_cb, payload, length);
}

void kxtool_log_async_recv_process(const uint8_t* payload, uint32_t length) {
  hand_on(log_data_cb, payload, length);
}

void kxtool_log_get_finish_process(const uint8_t* payload, uint32_t length) {
  hand_on(log_finish_cb, payload, length);
}

void kxtool_recv_cb_set(kxtool_notice_cb callback) {
  result_cb.store(callback, std::memory_order_release);
}

void kxtool_log_data_cb_set(kxtool_notice_cb callback) {
  log_data_cb.store(callback, std::memory_order_release);
}

void kxtool_log_finish_cb_set(kxtool_notice_cb callback) {
  log_finish_cb.store(callback, std::memory_order_release);
}
