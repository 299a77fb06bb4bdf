// The ring of message ids: which receive buffer belongs to which message.
#pragma once

#include <cstdint>

inline constexpr uint16_t BAR_MSGID_NONE = 65535;  // never handed out
inline constexpr uint32_t BAR_MSGID_NUM = 65535;

struct bar_msgid_entry {
  void* recv_buffer;
  uint16_t id;
  uint16_t buffer_len;
  uint16_t used;
};

struct bar_msgid_ring {
  uint16_t current_id;
  bar_msgid_entry entries[BAR_MSGID_NUM];
};

/// Makes the process's ring, or empties it. False without memory.
bool bar_msgid_ring_init();
void bar_msgid_ring_free();
/// Null before the channel is initialised and without memory.
bar_msgid_ring* bar_msgid_ring_get();

/// Takes the next free id after the current one. Returns 0, or -1 when none is free.
int32_t bar_chan_msgid_allocate(uint16_t* id);
void bar_chan_msgid_free(uint16_t id);
