// A slot of the mailbox: routing, header and payload.
#pragma once

#include <cstdint>
#include <span>

#include "common/mmio.h"

inline constexpr int32_t BAR_MSG_ERR_REG_OFFSET = -99;  // slot register outside of the slot
inline constexpr uint32_t BAR_SLOT_SIZE = 2048;

// Flags of the header.
inline constexpr uint8_t BAR_FLAG_VALID = 1 << 0;
inline constexpr uint8_t BAR_FLAG_ROUTE = 1 << 1;
inline constexpr uint8_t BAR_FLAG_ACK = 1 << 3;
inline constexpr uint8_t BAR_FLAG_POLL_TAG = 1 << 4;

struct bar_msg_header {
  uint8_t flags;
  uint8_t reserved;
  uint16_t event_id;
  uint16_t length;  ///< of the payload
  uint16_t msg_id;
  uint16_t src_pcieid;
  uint16_t dst_pcieid;
};
static_assert(sizeof(bar_msg_header) == 12);

inline constexpr uint8_t BAR_INDEX_NONE = 255;
/// Row of a source endpoint and column of a destination endpoint in the routing tables; BAR_INDEX_NONE for others.
uint8_t bar_row_index(uint16_t endpoint);
uint8_t bar_column_index(uint16_t endpoint);

/// Places in the 2 x 2 routing tables.
struct bar_route {
  uint8_t channel;
  uint8_t sub_channel;
  uint8_t lock_type;  ///< 0: process-local lock, else hardware spin lock
};
/// False when an index is BAR_INDEX_NONE.
bool bar_route_get(uint8_t row, uint8_t column, bar_route* route);

/// The slot of a channel and sub-channel; empty when the area ends before it does.
kx_mmio_region bar_slot_get(const kx_mmio_region& area, uint32_t channel, uint32_t sub_channel);
/// The slot in which a message from `src` to `dst` lies; empty when there is none.
kx_mmio_region bar_slot_of_message(const kx_mmio_region& area, uint16_t src, uint16_t dst);

// One register of a slot, at `offset` with its low two and high four bits ignored. Return 0 or -99.
int32_t bar_reg_read(const kx_mmio_region& slot, uint32_t offset, uint32_t* value);
int32_t bar_reg_write(const kx_mmio_region& slot, uint32_t offset, uint32_t value);

bar_msg_header bar_header_read(const kx_mmio_region& slot);
void bar_header_write(const kx_mmio_region& slot, const bar_msg_header& header);

/// Reads or writes whole words, then always one more for the bytes that are left, which may be none.
void bar_payload_read(const kx_mmio_region& slot, std::span<uint8_t> payload);
void bar_payload_write(const kx_mmio_region& slot, std::span<const uint8_t> payload);

bool bar_valid_get(const kx_mmio_region& slot);
/// Hands the slot's message over: everything written to it before is visible to the other side first.
void bar_valid_set(const kx_mmio_region& slot);
void bar_flags_clear(const kx_mmio_region& slot, uint8_t flags);
