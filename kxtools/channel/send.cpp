// The one request path, whatever the wire.
#include <cstring>

#include "channel/tools_msg.h"
#include "common/report.h"

int32_t tarn_tools_send_msg(kxtool_device* device, tools_msg* msg) {
  if (device->wire == nullptr) {
    return KXTOOLS_ERR("no device to send a request to\n");
  }
  return device->wire->send(device, msg);
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
    return MSG_CHAN_ERR("dev_pcieid send to riscv failed or check error!\n");
  }
  device->os_type = reply.os_type;
  return 0;
}
