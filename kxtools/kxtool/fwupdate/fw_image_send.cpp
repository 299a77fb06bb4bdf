// One image: erase its place, send its data, have the card read it back and add it up.
#include <algorithm>
#include <array>
#include <cstdio>

#include "common/little_endian.h"
#include "common/signals.h"
#include "fw_handlers.h"
#include "fw_log.h"
#include "fw_message.h"
#include "fw_timer.h"

namespace {

// First byte of a request; the image's number is added.
constexpr uint8_t REQUEST_ERASE = 0x20;
constexpr uint8_t REQUEST_DATA = 0x40;
constexpr uint8_t REQUEST_READ_BACK = 0x60;

constexpr size_t ERASE_LEN = 208;
constexpr size_t ERASE_PATH = 12;
constexpr size_t READ_BACK_LEN = 13;
constexpr size_t PACKET_DATA = 8;
constexpr uint32_t PACKET_DATA_MAX = 2028;
// Read from the file at once: a read after each pause would take a tenth of the time of an exchange.
constexpr uint32_t PIECE_SIZE = 16 * PACKET_DATA_MAX;

constexpr uint32_t PACKET_PAUSE_US = 5000;
constexpr uint32_t PACKET_PAUSE_OS_US = 10000;  // the card's processor runs an operating system beside the update

// Bytes of the update that are sent before the current image.
uint64_t sent_before(const fw_update& update) {
  const std::span<const fw_image> table = update.header.table();
  uint64_t own = 0;
  uint64_t before = 0;
  for (size_t i = 0; i < table.size(); ++i) {
    own += fw_image_sent_size(table[i]);
    before += i < update.image ? fw_image_sent_size(table[i]) : 0;
  }
  return update.part == FW_PART_B ? update.total_size - own + before : before;
}

void show_phase(fw_update* update, const char* phase) {
  fw_progress* progress = &update->progress;
  progress->part = update->package.kind == FW_KIND_WHOLE_FLASH ? (update->part == FW_PART_A ? 'A' : 'B') : '\0';
  progress->image = update->image + 1u;
  progress->image_num = update->header.fw_cnt;
  fw_progress_phase(progress, phase);
}

// Reads what is sent from `at` on into `piece`.
int32_t read_piece(const fw_update& update, const fw_image& image, uint32_t at, std::span<uint8_t> piece) {
  if (fw_image_read(update.package, update.header, image, at, piece) != 0) {
    return FW_FAIL("image %d cannot be read at byte %u", update.image.load(), at);
  }
  return 0;
}

// Sends one packet; `at` is its place in the image.
int32_t send_packet(fw_update* update, const fw_image& image, uint32_t at, std::span<const uint8_t> data) {
  std::array<uint8_t, PACKET_DATA + PACKET_DATA_MAX> packet;
  packet[0] = static_cast<uint8_t>(REQUEST_DATA + update->image);
  packet[1] = image.type;
  kx_le_put(packet, 2, static_cast<uint16_t>(data.size()));
  kx_le_put<uint32_t>(packet, 4, image.flash_offset + at);
  std::ranges::copy(data, packet.begin() + PACKET_DATA);
  if (kxtool_fw_msg_send_sync_no_reply(update, std::span(packet).first(PACKET_DATA + data.size())) != 0) {
    return FW_FAIL("tx by bar chan err");
  }
  return 0;
}

uint32_t packet_pause_us(const kxtool_device& device) {
  return device.os_type != 0 ? PACKET_PAUSE_OS_US : PACKET_PAUSE_US;
}

}  // namespace

uint64_t fw_image_send_ms(const kxtool_device& device, const fw_image& image) {
  const uint64_t packets = (fw_image_sent_size(image) + PACKET_DATA_MAX - 1) / PACKET_DATA_MAX;
  return packets * packet_pause_us(device) / 1000;
}

int32_t kxtool_fw_upd_req_send(fw_update* update) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  if (!fw_partition_is_known(*update)) {
    FW_FAIL("sys fail: invalid cur_partition %d", static_cast<int>(update->cur_partition));
    return -9;
  }
  fw_image image;
  if (!fw_image_current(update, &image)) {
    fw_part_finish(update);
    return 0;
  }
  if (!image.is_aligned()) {
    return FW_FAIL("sys fail: invalid msg_send offset %x", image.flash_offset);
  }
  if (!image.has_device()) {
    return FW_FAIL("sys fail: invalid mtd_id %d", image.type);
  }
  std::array<uint8_t, ERASE_LEN> request = {static_cast<uint8_t>(REQUEST_ERASE + update->image), image.type};
  kx_le_put<uint32_t>(request, 4, image.flash_offset);
  kx_le_put<uint32_t>(request, 8, image.size);
  snprintf(reinterpret_cast<char*>(&request[ERASE_PATH]), ERASE_LEN - ERASE_PATH, "/dev/mtd%d", image.type);
  show_phase(update, "erasing");
  update->image_sent = 0;
  // Before the request: the notice may come while it is still being sent.
  update->phase = fw_phase::erasing;
  fw_start_timer(FW_TIMER_ERASE, update->limits.erase);
  if (kxtool_fw_msg_send_sync_no_reply(update, request) != 0) {
    return FW_FAIL("the erase request for image %d was not taken", update->image.load());
  }
  return 0;
}

int32_t kxtool_fw_data_sendto_riscv(fw_update* update) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  const fw_image image = update->header.images[update->image];
  const uint32_t size = static_cast<uint32_t>(fw_image_sent_size(image));
  const uint32_t pause_us = packet_pause_us(*update->device);
  show_phase(update, "writing");
  fw_progress_write_start(&update->progress, sent_before(*update));
  std::array<uint8_t, PIECE_SIZE> piece;
  uint32_t packets = 0;
  for (uint32_t at = 0; at < size; ++packets) {
    // A notice may have failed the update meanwhile.
    if (fw_is_deaf(update) || kx_signal_guard::raised() != 0 || kxtool_fw_fsm_get() != FW_STATE_WAIT) {
      return -1;
    }
    const uint32_t in_piece = at % PIECE_SIZE;
    if (in_piece == 0 && read_piece(*update, image, at, std::span(piece).first(std::min(size - at, PIECE_SIZE))) != 0) {
      return -1;
    }
    const uint32_t length = std::min(size - at, PACKET_DATA_MAX);
    if (send_packet(update, image, at, std::span(piece).subspan(in_piece, length)) != 0) {
      return -1;
    }
    at += length;
    update->image_sent = at;
    fw_progress_add(&update->progress, length);
    update->pause(pause_us);
  }
  FW_INFO("total sent %u packets %u lens startaddr0x%4x\n", packets, size, image.flash_offset);
  fw_start_timer(FW_TIMER_READ_BACK, update->limits.read_back);
  return fw_fsm_advance(FW_STATE_WAIT, FW_STATE_READ_BACK) ? 0 : -1;
}

int32_t kxtool_fw_upd_crc_req_send(fw_update* update) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  const fw_image image = update->header.images[update->image];
  uint32_t sum = 0;
  if (fw_image_checksum(update->package, update->header, image, &sum) != 0) {
    return FW_FAIL("image %d cannot be read again", update->image.load());
  }
  std::array<uint8_t, READ_BACK_LEN> request = {static_cast<uint8_t>(REQUEST_READ_BACK + update->image)};
  kx_le_put<uint32_t>(request, 1, image.flash_offset);
  kx_le_put<uint32_t>(request, 5, image.size);
  kx_le_put<uint32_t>(request, 9, sum);
  show_phase(update, "reading");
  update->sum_sent = sum;
  update->phase = fw_phase::reading;
  if (kxtool_fw_msg_send_sync_no_reply(update, request) != 0) {
    return FW_FAIL("the read-back request for image %d was not taken", update->image.load());
  }
  return 0;
}
