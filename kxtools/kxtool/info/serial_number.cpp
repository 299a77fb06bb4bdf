#include <algorithm>
#include <cstring>

#include "common/printable.h"
#include "common/report.h"
#include "info/info.h"
#include "info/serial_number.h"
#include "query.h"
#include "reply_status.h"
#include "startup/words.h"

namespace {

constexpr kx_line_style STYLE_ERR{"sn_get_err: ", " ", nullptr};
constexpr kx_line_style STYLE_INFO{"sn_get_info: ", " ", nullptr};

constexpr const char* WORDS[] = {"sn_info"};

constexpr uint32_t OP_SERIAL_NUMBER = 15;
constexpr uint16_t PAYLOAD_LEN = 20;
constexpr size_t REPLY_LEN = 29;
constexpr size_t REPLY_STATUS = 0;
constexpr size_t REPLY_TEXT = 1;
constexpr size_t TEXT_LEN = 12;  // not terminated
static_assert(sizeof(kxtool_serial_number::text) == TEXT_LEN + 1);

}  // namespace

int32_t kxtool_serial_number_ask(kxtool_device* device, kxtool_serial_number* serial) {
  uint8_t reply[REPLY_LEN];
  const int32_t ret = kxtool_info_query(device, OP_SERIAL_NUMBER, PAYLOAD_LEN, reply);
  if (ret != 0) {
    return ret;
  }
  *serial = {};
  serial->status = static_cast<int8_t>(reply[REPLY_STATUS]);
  memcpy(serial->text, reply + REPLY_TEXT, TEXT_LEN);
  std::replace_if(
      std::begin(serial->text), std::end(serial->text), [](char c) { return c != '\0' && !kx_is_printable(c); }, '?');
  return 0;
}

const char kxtool_sn_info_usage[] = R"(    COMMAND:
        sn_info
    SYNOPSIS:
        kxtool sn_info <device> sn_info
    DESCRIPTION:
        Shows the serial number of the card, 12 characters.
    OPTIONS:
        <device>    network interface of the card
    EXAMPLES:
        kxtool sn_info eth0 sn_info)";

int kxtool_sn_get(kxtool_cmd_ctx* ctx) {
  if (ctx->argc != 1 || strcmp(ctx->argv[0], WORDS[0]) != 0) {
    KX_LINE(STYLE_ERR, "error, the parameter of sn_get should be (kxtool sn_info %s sn_info), please check!\n",
            ctx->device_word);
    KX_LINE(STYLE_INFO, "For more information run kxtool -h\n");
    kxtool_words_explain(*ctx, WORDS);
    return 1;
  }
  kxtool_serial_number serial;
  const int32_t ret = kxtool_serial_number_ask(&ctx->device, &serial);
  if (ret != 0) {
    KX_LINE(STYLE_ERR, "tarn_tools_send_msg failed, ret=%d!\n", ret);
    return 1;
  }
  if (serial.status != 0) {
    KX_LINE(STYLE_ERR, "sn get failed, reps.status = %d,%s\n", serial.status, kxtool_reply_status_text(serial.status));
    return 1;
  }
  kx_print("sn=%s\n", serial.text);
  return 0;
}
