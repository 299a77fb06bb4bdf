#include <cstring>

#include "common/little_endian.h"
#include "common/report.h"
#include "info/info.h"
#include "info/temperature.h"
#include "query.h"
#include "startup/words.h"

namespace {

constexpr kx_line_style STYLE_ERR{"temp_get_err: ", " ", nullptr};
constexpr kx_line_style STYLE_INFO{"temp_get_info: ", " ", nullptr};

constexpr const char* WORDS[] = {"chip_temp"};

constexpr uint32_t OP_TEMPERATURE = 18;
constexpr uint16_t PAYLOAD_LEN = 20;
constexpr size_t REPLY_LEN = 24;
constexpr size_t REPLY_STATUS = 0;
constexpr size_t REPLY_TEMPERATURE = 4;

constexpr int ATTEMPTS = 3;

// One attempt; `temperature` keeps its value unless the card gave a reading.
bool temperature_read(kxtool_device* device, int32_t* temperature) {
  kxtool_temperature answer;
  const int32_t ret = kxtool_temperature_ask(device, &answer);
  if (ret != 0) {
    KX_LINE(STYLE_ERR, "tarn_tools_send_msg failed, ret=%d!\n", ret);
    return false;
  }
  if (answer.status != 0) {
    KX_LINE(STYLE_ERR, "temp get failed, temp_get_reps.status = %d!\n", answer.status);
    return false;
  }
  *temperature = answer.celsius;
  return *temperature < KXTOOL_TEMPERATURE_LIMIT;
}

}  // namespace

int32_t kxtool_temperature_ask(kxtool_device* device, kxtool_temperature* answer) {
  uint8_t reply[REPLY_LEN];
  const int32_t ret = kxtool_info_query(device, OP_TEMPERATURE, PAYLOAD_LEN, reply);
  if (ret == 0) {
    answer->status = kx_le_get<decltype(answer->status)>(reply, REPLY_STATUS);
    answer->celsius = kx_le_get<decltype(answer->celsius)>(reply, REPLY_TEMPERATURE);
  }
  return ret;
}

const char kxtool_temp_info_usage[] = R"(    COMMAND:
        temp_info
    SYNOPSIS:
        (1)kxtool temp_info <device> chip_temp
    DESCRIPTION:
        (1)Shows the temperature of the card's chip in degrees Celsius.
    OPTIONS:
        <device>    network interface of the card
    EXAMPLES:
        kxtool temp_info eth0 chip_temp)";

int kxtool_temp_get(kxtool_cmd_ctx* ctx) {
  if (ctx->argc != 1 || strcmp(ctx->argv[0], WORDS[0]) != 0) {
    KX_LINE(STYLE_ERR, "error, the parameter of temp_get should be (kxtool temp_info %s chip_temp)\n",
            ctx->device_word);
    KX_LINE(STYLE_INFO, "For more information run kxtool -h\n");
    kxtool_words_explain(*ctx, WORDS);
    return 1;
  }
  int32_t temperature = 0;
  for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
    if (temperature_read(&ctx->device, &temperature)) {
      kx_print("current chip temperature: %d (degree centigrade) \n", temperature);
      return 0;
    }
  }
  KX_LINE(STYLE_ERR, "err chip temperature: %d (degree centigrade)!!\n", temperature);
  return 1;
}
