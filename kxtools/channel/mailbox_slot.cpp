#include "mailbox_slot.h"

#include <algorithm>
#include <cstring>

#include "channel/mailbox.h"
#include "qlix_comm/device_order.h"

namespace {

// One byte of BAR 0 tells where the area begins. Reads of device memory are whole words.
constexpr uint64_t LAYOUT_WORD = 0x1000;
constexpr uint32_t LAYOUT_SHIFT = 8;
constexpr uint32_t AREA_OFFSET_HIGH = 0xF0F000;
constexpr uint32_t AREA_OFFSET_LOW = 0xFF000;

constexpr uint32_t REG_OFFSET_MAX = 2047;
constexpr uint32_t REG_OFFSET_MASK = 0x0FFFFFFC;
constexpr uint32_t REG_FLAGS = 0;
constexpr uint32_t REG_PAYLOAD = sizeof(bar_msg_header);
constexpr uint32_t WORD = sizeof(uint32_t);
constexpr uint32_t SUB_CHANNELS = 2;

// Indexed by row and column.
constexpr uint8_t chan_id_tbl[2][2] = {{0, 0}, {0, 0}};
constexpr uint8_t subchan_id_tbl[2][2] = {{0, 1}, {0, 1}};
constexpr uint8_t lock_type_tbl[2][2] = {{0, 0}, {0, 0}};

bool reg_exists(const kx_mmio_region& slot, uint32_t offset) {
  return offset <= REG_OFFSET_MAX && slot.holds(offset & REG_OFFSET_MASK, WORD);
}

void flags_change(const kx_mmio_region& slot, uint8_t clear, uint8_t set) {
  uint32_t word = 0;
  if (bar_reg_read(slot, REG_FLAGS, &word) == 0) {
    bar_reg_write(slot, REG_FLAGS, (word & ~uint32_t{clear}) | set);
  }
}

}  // namespace

bool bar_chan_area_find(const kx_mmio_region& bar, uint32_t* offset) {
  if (!bar.holds(LAYOUT_WORD, sizeof(uint32_t))) {
    return false;
  }
  const uint32_t layout = (kx_mmio_read32(bar, LAYOUT_WORD) >> LAYOUT_SHIFT) & 0xFF;
  *offset = layout == 0 || layout == 1 || layout == 7 ? AREA_OFFSET_HIGH : AREA_OFFSET_LOW;
  return bar.holds(*offset, BAR_MSG_AREA_SIZE);
}

uint8_t bar_row_index(uint16_t endpoint) {
  return endpoint <= BAR_MSG_ENDPOINT_CARD ? static_cast<uint8_t>(endpoint) : BAR_INDEX_NONE;
}

uint8_t bar_column_index(uint16_t endpoint) {
  // Crossed against the rows: this is how the slots are numbered.
  return endpoint <= BAR_MSG_ENDPOINT_CARD ? static_cast<uint8_t>(1 - endpoint) : BAR_INDEX_NONE;
}

bool bar_route_get(uint8_t row, uint8_t column, bar_route* route) {
  if (row == BAR_INDEX_NONE || column == BAR_INDEX_NONE) {
    return false;
  }
  *route = {chan_id_tbl[row][column], subchan_id_tbl[row][column], lock_type_tbl[row][column]};
  return true;
}

kx_mmio_region bar_slot_get(const kx_mmio_region& area, uint32_t channel, uint32_t sub_channel) {
  const uint64_t offset = uint64_t{sub_channel + channel * SUB_CHANNELS} * BAR_SLOT_SIZE;
  return area.holds(offset, BAR_SLOT_SIZE) ? kx_mmio_region{area.base + offset, BAR_SLOT_SIZE} : kx_mmio_region{};
}

kx_mmio_region bar_slot_of_message(const kx_mmio_region& area, uint16_t src, uint16_t dst) {
  bar_route route = {};
  if (!bar_route_get(bar_row_index(src), bar_column_index(dst), &route)) {
    return {};
  }
  return bar_slot_get(area, route.channel, route.sub_channel);
}

int32_t bar_reg_read(const kx_mmio_region& slot, uint32_t offset, uint32_t* value) {
  if (!reg_exists(slot, offset)) {
    return BAR_MSG_ERR_REG_OFFSET;
  }
  *value = kx_mmio_read32(slot, offset & REG_OFFSET_MASK);
  return 0;
}

int32_t bar_reg_write(const kx_mmio_region& slot, uint32_t offset, uint32_t value) {
  if (!reg_exists(slot, offset)) {
    return BAR_MSG_ERR_REG_OFFSET;
  }
  kx_mmio_write32(slot, offset & REG_OFFSET_MASK, value);
  return 0;
}

bar_msg_header bar_header_read(const kx_mmio_region& slot) {
  uint32_t words[sizeof(bar_msg_header) / WORD] = {};
  for (uint32_t i = 0; i < std::size(words); ++i) {
    bar_reg_read(slot, i * WORD, &words[i]);
  }
  bar_msg_header header;
  memcpy(&header, words, sizeof header);
  return header;
}

void bar_header_write(const kx_mmio_region& slot, const bar_msg_header& header) {
  uint32_t words[sizeof(bar_msg_header) / WORD];
  memcpy(words, &header, sizeof words);
  for (uint32_t i = 0; i < std::size(words); ++i) {
    bar_reg_write(slot, i * WORD, words[i]);
  }
}

void bar_payload_read(const kx_mmio_region& slot, std::span<uint8_t> payload) {
  uint32_t offset = REG_PAYLOAD;
  while (true) {
    uint32_t word = 0;
    bar_reg_read(slot, offset, &word);
    const size_t bytes = std::min<size_t>(payload.size(), WORD);
    std::copy_n(reinterpret_cast<const uint8_t*>(&word), bytes, payload.begin());
    if (bytes < WORD) {
      return;
    }
    payload = payload.subspan(WORD);
    offset += WORD;
  }
}

void bar_payload_write(const kx_mmio_region& slot, std::span<const uint8_t> payload) {
  uint32_t offset = REG_PAYLOAD;
  while (true) {
    uint32_t word = 0;
    const size_t bytes = std::min<size_t>(payload.size(), WORD);
    std::copy_n(payload.begin(), bytes, reinterpret_cast<uint8_t*>(&word));
    bar_reg_write(slot, offset, word);
    if (bytes < WORD) {
      return;
    }
    payload = payload.subspan(WORD);
    offset += WORD;
  }
}

bool bar_valid_get(const kx_mmio_region& slot) {
  uint32_t word = 0;
  bar_reg_read(slot, REG_FLAGS, &word);
  return (word & BAR_FLAG_VALID) != 0;
}

void bar_valid_set(const kx_mmio_region& slot) {
  qlix_comm_order_words_before_ready();
  flags_change(slot, BAR_FLAG_VALID, BAR_FLAG_VALID);
}

void bar_flags_clear(const kx_mmio_region& slot, uint8_t flags) {
  qlix_comm_order_words_before_ready();
  flags_change(slot, flags, 0);
}
