#include "mailbox_ring.h"

#include <cstdlib>

#include "channel/mailbox.h"

namespace {

// One MiB that only a process with a mailbox needs. Made before the first message, given back after the last.
bar_msgid_ring* ring = nullptr;
bool is_initialised = false;

constexpr uint16_t next_id(uint16_t id) {
  return id + 1 >= static_cast<int>(BAR_MSGID_NUM) ? uint16_t{0} : static_cast<uint16_t>(id + 1);
}

}  // namespace

bool bar_msgid_ring_init() {
  if (ring == nullptr) {
    ring = static_cast<bar_msgid_ring*>(calloc(1, sizeof(bar_msgid_ring)));
  }
  if (ring == nullptr) {
    return false;
  }
  ring->current_id = 0;
  for (uint32_t id = 0; id < BAR_MSGID_NUM; ++id) {
    ring->entries[id].id = static_cast<uint16_t>(id);
    ring->entries[id].used = 0;
  }
  return true;
}

void bar_msgid_ring_free() {
  free(ring);
  ring = nullptr;
  is_initialised = false;
}

bar_msgid_ring* bar_msgid_ring_get() {
  if (ring == nullptr && is_initialised) {
    bar_msgid_ring_init();
  }
  return ring;
}

int32_t tarn_msg_chan_init() {
  // Every start of the tool comes here and few send a message: the memory is taken by the first one.
  is_initialised = true;
  return 0;
}

int32_t bar_chan_msgid_allocate(uint16_t* id) {
  if (ring == nullptr) {
    return -1;
  }
  uint16_t candidate = ring->current_id;
  for (uint32_t step = 0; step < BAR_MSGID_NUM - 1; ++step) {
    candidate = next_id(candidate);
    if (ring->entries[candidate].used == 0) {
      ring->entries[candidate].used = 1;
      ring->current_id = candidate;
      *id = candidate;
      return 0;
    }
  }
  return -1;
}

void bar_chan_msgid_free(uint16_t id) {
  if (id != BAR_MSGID_NONE && ring != nullptr) {
    ring->entries[id].used = 0;
  }
}
