#include "info/part_number.h"

#include <cstring>

#include "channel/mailbox.h"
#include "common/report.h"
#include "query.h"
#include "reply_status.h"

namespace {

constexpr kx_line_style STYLE_PN{"", " ", nullptr};

constexpr uint32_t OP_PART_NUMBER = 21;
constexpr uint16_t PAYLOAD_LEN = 20;
constexpr size_t REPLY_LEN = 33;
constexpr size_t REPLY_STATUS = 0;
constexpr size_t REPLY_PRESENT = 1;
constexpr size_t REPLY_TEXT = 2;

}  // namespace

int32_t kxtool_pn_get(kxtool_device* device, kxtool_part_number* pn) {
  uint8_t reply[REPLY_LEN];
  const int32_t ret = kxtool_info_query(device, OP_PART_NUMBER, PAYLOAD_LEN, reply);
  if (ret == BAR_MSG_ERR_RECV_CHECK) {
    return KXTOOL_PN_NOT_SUPPORTED;
  }
  if (ret != 0) {
    return KX_LINE(STYLE_PN, "tarn_tools_send_msg failed, ret=%d!\n", ret);
  }
  const int8_t status = static_cast<int8_t>(reply[REPLY_STATUS]);
  if (status != 0) {
    return KX_LINE(STYLE_PN, "pn get failed, reps.status = %d,%s\n", status, kxtool_reply_status_text(status));
  }
  memcpy(pn->text, reply + REPLY_TEXT, sizeof pn->text);
  pn->text[reply[REPLY_PRESENT] != 0 ? sizeof pn->text - 1 : 0] = '\0';
  return 0;
}
