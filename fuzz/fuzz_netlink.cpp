// Netlink messages of any content: header, family answer and notice, up to the notice table.
#include <cstdlib>
#include <cstring>

#include "channel/event.h"
#include "genl.h"

namespace {

// Reads every byte, so that the sanitizer sees a notice that reaches outside of the message.
uint32_t sum;
void notice_read(const uint8_t* payload, uint32_t length) {
  for (uint32_t i = 0; i < length; ++i) {
    sum += payload[i];
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kxtool_recv_cb_set(notice_read);
  kxtool_log_data_cb_set(notice_read);
  kxtool_log_finish_cb_set(notice_read);
  uint16_t type = 0;
  std::span<const uint8_t> message;
  if (genl_header_read({data, size}, &type, &message) != genl_header::good) {
    return 0;
  }
  genl_family_id_read(message);
  const std::span<const uint8_t> notice = genl_notice_read(message);
  if (!notice.empty() && (notice.data() < data || notice.data() + notice.size() > data + size)) {
    abort();
  }
  uint32_t op_code = 0;
  kxtool_event_dispatch(notice.data(), static_cast<uint32_t>(notice.size()), &op_code);
  return 0;
}
