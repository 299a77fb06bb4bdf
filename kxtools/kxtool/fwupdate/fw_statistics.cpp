// The card's flash and message counters.
#include <array>

#include "channel/mailbox.h"
#include "common/little_endian.h"
#include "common/report.h"
#include "fw_handlers.h"
#include "fw_log.h"
#include "fw_message.h"

namespace {

constexpr uint8_t REQUEST_STATISTICS = 1;
constexpr size_t COUNT_NUM = 10;
constexpr uint16_t REPLY_MIN = COUNT_NUM * 4;  // what is printed; the card may tell more

constexpr const char* FLASH_HEADING = "====flash erase_err wr_err rd_err cb_cnt queue_cnt deque_cnt max_wq_backlog====";
constexpr const char* MESSAGE_HEADING = "====risc->host rx_cnt   tx_cnt   tx_err====";

struct counts {
  std::string flash;
  std::string message;
};

int32_t statistics_ask(fw_update* update, counts* text) {
  constexpr std::array<uint8_t, 1> REQUEST = {REQUEST_STATISTICS};
  std::array<uint8_t, BAR_MSG_PAYLOAD_MAX> reply;
  if (fw_request_send(update, REQUEST, reply, REPLY_MIN) != 0) {
    FW_ERR("bar chan or msgq channel is not work ,try it later!\n");
    return -1;
  }
  uint32_t count[COUNT_NUM];
  for (size_t i = 0; i < COUNT_NUM; ++i) {
    count[i] = kx_le_get<uint32_t>(reply, i * 4);
  }
  text->flash = kx_text("         %9u %6u %6u %6u %9u %9u %14u", count[0], count[1], count[2], count[3], count[4],
                        count[5], count[6]);
  text->message = kx_text("              %6u   %6u   %6u", count[7], count[8], count[9]);
  FW_INFO("%s\n", FLASH_HEADING);
  FW_INFO("%s\n", text->flash.c_str());
  FW_INFO("%s\n", MESSAGE_HEADING);
  FW_INFO("%s\n", text->message.c_str());
  return 0;
}

}  // namespace

int32_t fw_flash_statistics_log(fw_update* update) {
  counts text;
  return statistics_ask(update, &text);
}

int32_t kxtool_fw_flash_cnt_get(fw_update* update) {
  counts text;
  if (statistics_ask(update, &text) != 0) {
    return FW_FAIL("the card does not tell its flash statistics");
  }
  kx_print("%s\n%s\n%s\n%s\n", FLASH_HEADING, text.flash.c_str(), MESSAGE_HEADING, text.message.c_str());
  kxtool_fw_fsm_set(FW_STATE_FINISHED);
  return 0;
}
