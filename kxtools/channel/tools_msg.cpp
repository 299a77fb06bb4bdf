#include "channel/tools_msg.h"

tarn_tools_msg_ptr tarn_tools_alloc_msg(uint16_t payload_len) {
  tarn_tools_msg_ptr msg(static_cast<tools_msg*>(calloc(1, sizeof(tools_msg) + payload_len)));
  if (msg) {
    msg->payload_len = payload_len;
  }
  return msg;
}

void tarn_tools_free_msg(tools_msg* msg) {
  free(msg);
}

void tarn_tools_msg_request_set(tools_msg* msg, uint32_t event_id, void* reply, uint16_t reply_len) {
  msg->event_id = event_id;
  msg->route_code = KXTOOL_ROUTE_CODE;
  msg->reply = reply;
  msg->reply_len = reply_len;
}
