// The mailbox slots filled with anything: a notice is looked at, acknowledged, and looked at again. The area ends where
// the memory ends.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "channel/mailbox.h"
#include "mailbox_receive.h"

namespace {

int32_t notice_answer(const uint8_t* payload, uint16_t length, uint8_t* reply, uint16_t* reply_len) {
  for (uint16_t i = 0; i < length; ++i) {
    reply[i] = static_cast<uint8_t>(payload[i] + 1);
  }
  *reply_len = length == 0 ? uint16_t{0xFFFF} : length;  // more than there is room for, too
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  alignas(4) static uint8_t area_bytes[BAR_MSG_AREA_SIZE];
  static const bool registered = [] {
    freopen("/dev/null", "w", stdout);
    for (uint32_t event_id = 0; event_id < BAR_MSG_EVENT_NUM; event_id += 3) {
      tarn_bar_chan_msg_recv_register(event_id, notice_answer);
    }
    return true;
  }();
  (void)registered;
  memset(area_bytes, 0, sizeof area_bytes);
  // The notice slot first: short inputs reach what matters.
  memcpy(area_bytes + 2048, data, std::min<size_t>(size, 2048));
  if (size > 2048) {
    memcpy(area_bytes, data + 2048, std::min<size_t>(size - 2048, 2048));
  }
  const kx_mmio_region area = {area_bytes, sizeof area_bytes};
  bar_rx_state state;
  for (int look = 0; look < 2; ++look) {
    bar_chan_rx_poll(area, BAR_MSG_ENDPOINT_CARD, BAR_MSG_ENDPOINT_TOOL, &state);
  }
  return 0;
}
