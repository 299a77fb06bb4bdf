// Messages to the card's virtual switch, through the mailbox in BAR 0 of a function that the user names.
#include <array>
#include <string>

#include "channel/mailbox.h"
#include "cmd_item.h"
#include "commands.h"
#include "common/report.h"
#include "device/address.h"
#include "device/bar.h"
#include "device/card_lock.h"
#include "device/function.h"

namespace {

constexpr uint32_t BIND_WORDS = 3;      // barchan bind_bdf BDF
constexpr uint32_t SEND_WORDS_MIN = 4;  // barchan send_ovs_msg EVENT WORD...
constexpr uint32_t MESSAGE_WORDS_MAX = BAR_MSG_PAYLOAD_MAX / sizeof(uint32_t);

/// The function whose mailbox is used: chosen by bind_bdf, mapped until another one is.
kxtools_dev_info chosen = {};

bool area_of(const kxtools_dev_info& info, kx_mmio_region* area) {
  const kx_mmio_region bar = kxtools_dev_bar(info);
  uint32_t offset = 0;
  const bool found = bar_chan_area_find(bar, &offset);
  // A failed exchange ends the tool. Where it is known to fail it is not begun: what was taken away has its line.
  if (kx_mmio_is_lost(bar)) {
    return false;
  }
  if (!found) {
    kx_print("kx_vqm Error: BAR 0 of %s does not hold the message area.\n", info.sbdf);
    return false;
  }
  *area = bar.from(offset);
  return true;
}

void print_reply(const uint32_t* words, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    kx_print("  word %-3u: 0x%08x\n", i, words[i]);
  }
}

}  // namespace

void barchan_bind_bdf(uint64_t, char** words, uint32_t count) {
  if (!vqm_cmd_count_check(count, BIND_WORDS, BIND_WORDS)) {
    return;
  }
  kxtools_sbdf sbdf = KXTOOLS_SBDF_NONE;
  kxtools_dev_info info = {};
  const std::string address = std::string(kxtools_is_short_address(words[2]) ? "0000:" : "") + words[2];
  if (pcie_sbdf_parse(&sbdf, address.c_str()) != 0 || sbdf_valid_check(sbdf) != 0 ||
      kxtools_dev_info_set(sbdf, &info) != 0) {
    kx_print("kx_vqm Error: para[%s] illegal.\n", words[2]);
    vqm_cmd_help();
    return;
  }
  kx_mmio_region area;
  if (!area_of(info, &area)) {
    kxtools_dev_unmmap(info.bar_vaddr, info.bar_size);
    return;
  }
  if (chosen.bar_vaddr != nullptr) {
    kxtools_dev_unmmap(chosen.bar_vaddr, chosen.bar_size);
  }
  chosen = info;
  kx_print("message channel bound to %s\n", chosen.sbdf);
}

void barchan_send_ovs_msg(uint64_t, char** words, uint32_t count) {
  if (!vqm_cmd_count_check(count, SEND_WORDS_MIN, SEND_WORDS_MIN + MESSAGE_WORDS_MAX - 1)) {
    return;
  }
  uint64_t event_id = 0;
  if (!vqm_cmd_number(words[2], &event_id) ||
      kxvqm_check_para_illegal(0, BAR_MSG_EVENT_NUM, static_cast<int64_t>(event_id)) != 0) {
    return;
  }
  std::array<uint32_t, MESSAGE_WORDS_MAX> message = {};
  const uint32_t message_words = count - SEND_WORDS_MIN + 1;
  for (uint32_t i = 0; i < message_words; ++i) {
    uint64_t value = 0;
    if (!vqm_cmd_number(words[SEND_WORDS_MIN - 1 + i], &value) ||
        kxvqm_check_para_illegal(0, UINT32_MAX, static_cast<int64_t>(value)) != 0) {
      return;
    }
    message[i] = static_cast<uint32_t>(value);
  }
  // Without a choice of its own the message goes to the bound device.
  kxtools_dev_info info = chosen;
  kx_mmio_region area;
  if (info.bar_vaddr == nullptr && (kxtools_dev_info_get(&info) != 0 || info.bar_vaddr == nullptr)) {
    kx_print("It does not bind to any pcie device,Please bind kx device!\n");
    return;
  }
  if (!area_of(info, &area)) {
    return;
  }
  // The mailbox is one for the whole card: an update through it goes on alone.
  kxtools_sbdf sbdf = KXTOOLS_SBDF_NONE;
  pcie_sbdf_parse(&sbdf, info.sbdf);
  const kx_unique_fd card = kxtools_card_lock(sbdf, kxtools_card_use::alone);
  if (!card) {
    return;
  }
  std::array<uint32_t, MESSAGE_WORDS_MAX> reply = {};
  const bar_msg_send_para send = {.area = area,
                                  .payload = message.data(),
                                  .payload_len = static_cast<uint16_t>(message_words * sizeof(uint32_t)),
                                  .src = BAR_MSG_ENDPOINT_TOOL,
                                  .dst = BAR_MSG_ENDPOINT_CARD,
                                  .event_id = static_cast<uint32_t>(event_id),
                                  .src_pcieid = 0,
                                  .dst_pcieid = 0};
  const bar_msg_recv_para receive = {reply.data(), static_cast<uint16_t>(sizeof reply)};
  tarn_bar_chan_sync_msg_send(&send, &receive);
  // The reply's length stays with the channel: show as many words as were sent.
  print_reply(reply.data(), message_words);
}
