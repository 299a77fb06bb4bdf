#include <cstring>

#include "common/report.h"
#include "info/info.h"
#include "query.h"
#include "reply_status.h"

namespace {

constexpr kx_line_style STYLE_ERR{"sn_get_err: ", " ", nullptr};
constexpr kx_line_style STYLE_INFO{"sn_get_info: ", " ", nullptr};

constexpr uint32_t OP_SERIAL_NUMBER = 15;
constexpr uint16_t PAYLOAD_LEN = 20;
constexpr size_t REPLY_LEN = 29;
constexpr size_t REPLY_STATUS = 0;
constexpr size_t REPLY_TEXT = 1;
constexpr size_t TEXT_LEN = 12;  // not terminated

}  // namespace

int kxtool_sn_get(kxtool_cmd_ctx* ctx) {
  if (ctx->argc != 1 || strcmp(ctx->argv[0], "sn_info") != 0) {
    KX_LINE(STYLE_ERR, "error, the parameter of sn_get should be (kxtool sn_info %s sn_info), please check!\n",
            ctx->device_word);
    KX_LINE(STYLE_INFO, "For more information run kxtool -h\n");
    return 1;
  }
  uint8_t reply[REPLY_LEN];
  const int32_t ret = kxtool_info_query(&ctx->device, OP_SERIAL_NUMBER, PAYLOAD_LEN, reply);
  if (ret != 0) {
    KX_LINE(STYLE_ERR, "tarn_tools_send_msg failed, ret=%d!\n", ret);
    return 1;
  }
  const int8_t status = static_cast<int8_t>(reply[REPLY_STATUS]);
  if (status != 0) {
    KX_LINE(STYLE_ERR, "sn get failed, reps.status = %d,%s\n", status, kxtool_reply_status_text(status));
    return 1;
  }
  char text[TEXT_LEN + 1] = {};
  memcpy(text, reply + REPLY_TEXT, TEXT_LEN);
  for (char* c = text; *c != '\0'; ++c) {
    // What the card sends must not drive the terminal.
    if (*c < ' ' || *c > '~') {
      *c = '?';
    }
  }
  kx_print("sn=%s\n", text);
  return 0;
}
