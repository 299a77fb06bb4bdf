#include "query.h"

#include <algorithm>

#include "channel/tools_msg.h"
#include "common/little_endian.h"
#include "common/report.h"

int32_t kxtool_info_query(kxtool_device* device, uint32_t op_code, uint16_t payload_len, std::span<uint8_t> reply) {
  std::fill(reply.begin(), reply.end(), uint8_t{0});
  const tarn_tools_msg_ptr msg = tarn_tools_alloc_msg(payload_len);
  if (!msg) {
    return KXTOOLS_ERR("malloc msg failed!\n");
  }
  tarn_tools_msg_request_set(msg.get(), KXTOOL_EVENT_GENERAL, reply.data(), static_cast<uint16_t>(reply.size()));
  kx_le_put({tarn_tools_msg_payload(msg.get()), payload_len}, 0, op_code);
  return tarn_tools_send_msg(device, msg.get());
}
