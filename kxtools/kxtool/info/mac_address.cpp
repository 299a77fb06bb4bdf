#include <cstring>

#include "common/little_endian.h"
#include "common/report.h"
#include "info/info.h"
#include "info/mac_addresses.h"
#include "query.h"
#include "startup/words.h"

namespace {

constexpr kx_line_style STYLE_ERR{"mac_addr_get_err: ", " ", nullptr};
constexpr kx_line_style STYLE_INFO{"mac_addr_get_info: ", " ", nullptr};

constexpr const char* WORDS[] = {"mac_info"};

constexpr uint32_t OP_MAC_ADDRESS = 9;
constexpr uint16_t PAYLOAD_LEN = 4;
constexpr size_t REPLY_LEN = 68;
constexpr size_t REPLY_STATUS = 0;
constexpr size_t REPLY_COUNT = 4;
constexpr size_t REPLY_ADDRESSES = 6;
static_assert(REPLY_ADDRESSES + sizeof(kxtool_mac_addresses::addresses) <= REPLY_LEN);

}  // namespace

int32_t kxtool_mac_addresses_ask(kxtool_device* device, kxtool_mac_addresses* answer) {
  uint8_t reply[REPLY_LEN];
  const int32_t ret = kxtool_info_query(device, OP_MAC_ADDRESS, PAYLOAD_LEN, reply);
  if (ret == 0) {
    answer->status = kx_le_get<decltype(answer->status)>(reply, REPLY_STATUS);
    answer->count = kx_le_get<decltype(answer->count)>(reply, REPLY_COUNT);
    memcpy(answer->addresses, reply + REPLY_ADDRESSES, sizeof answer->addresses);
  }
  return ret;
}

const char kxtool_mac_info_usage[] = R"(    COMMAND:
        mac_info
    SYNOPSIS:
        kxtool mac_info <device> mac_info
    DESCRIPTION:
        Shows the MAC addresses that are stored on the card.
    OPTIONS:
        <device>    network interface of the card
    EXAMPLES:
        kxtool mac_info eth0 mac_info)";

int kxtool_mac_addr_get(kxtool_cmd_ctx* ctx) {
  if (ctx->argc != 1 || strcmp(ctx->argv[0], WORDS[0]) != 0) {
    KX_LINE(STYLE_ERR, "error, the parameter of mac_addr_get should be (kxtool mac_info %s mac_info), please check!\n",
            ctx->device_word);
    KX_LINE(STYLE_INFO, "For more information run kxtool -h\n");
    kxtool_words_explain(*ctx, WORDS);
    return 1;
  }
  kxtool_mac_addresses answer;
  const int32_t ret = kxtool_mac_addresses_ask(&ctx->device, &answer);
  if (ret != 0) {
    KX_LINE(STYLE_ERR, "tarn_tools_send_msg failed, ret=%d!\n", ret);
    return 1;
  }
  if (answer.status != 0) {
    KX_LINE(STYLE_ERR, "mac addr get failed!\n");
    return 1;
  }
  // A count that the reply cannot hold is as wrong as none.
  if (answer.count == 0 || answer.count > KXTOOL_MAC_ADDRESSES_MAX) {
    KX_LINE(STYLE_ERR, "mac addr get failed, mac_addr_get_reps.mac_addr_num = %u!\n", answer.count);
    return 1;
  }
  KX_LINE(STYLE_INFO, "mac_addr_get_reps.mac_addr_num = %d\n", answer.count);
  for (uint16_t i = 0; i < answer.count; ++i) {
    const uint8_t* mac = answer.addresses[i];
    kx_print("mac_addr[%d]=%02x:%02x:%02x:%02x:%02x:%02x\n", i, mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
  }
  return 0;
}
