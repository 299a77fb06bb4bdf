// One mailbox exchange beside its floor: the pause of 100 microseconds before the first look at the reply. The card's
// side is a thread that answers at once.
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "mailbox_ring.h"
#include "mailbox_send.h"
#include "side_by_side.h"

namespace {

constexpr int ROUNDS = 2000;
constexpr uint32_t FLAG_VALID = 1;
constexpr uint32_t FLAG_ACK = 8;

// Takes every request at once and returns its payload as the reply.
void card_run(uint32_t* slot, const std::atomic<bool>* done) {
  while (!done->load(std::memory_order_relaxed)) {
    const uint32_t word = __atomic_load_n(slot, __ATOMIC_ACQUIRE);
    if ((word & FLAG_VALID) != 0) {
      __atomic_store_n(slot, (word & ~FLAG_VALID) | FLAG_ACK, __ATOMIC_RELEASE);
    }
  }
}

void measure(const kx_mmio_region& area, uint16_t length, const char* work) {
  std::vector<uint8_t> payload(length, 0x5A);
  std::vector<uint8_t> reply(length);
  const bar_msg_send_para send = {area, payload.data(), length, 0, 1, 39, 0, 0};
  const bar_msg_recv_para recv = {reply.data(), length};
  side_by_side::samples ours;
  side_by_side::samples floor;
  for (int i = 0; i < ROUNDS; ++i) {
    floor.push_back(side_by_side::wall_time_of([] { usleep(100); }) / 1000);
    ours.push_back(side_by_side::wall_time_of([&] { bar_chan_sync_exchange(&send, &recv); }) / 1000);
  }
  side_by_side::row(work, "us", ours, "pause of 100 us", floor, 1.05);
}

}  // namespace

int main() {
  void* memory = mmap(nullptr, BAR_MSG_AREA_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED || !bar_msgid_ring_init()) {
    return 1;
  }
  prctl(PR_SET_TIMERSLACK, 1000UL);  // as the channel does when it comes up
  std::atomic<bool> done = false;
  std::thread card(card_run, static_cast<uint32_t*>(memory), &done);
  const kx_mmio_region area = {static_cast<volatile uint8_t*>(memory), BAR_MSG_AREA_SIZE};
  measure(area, 8, "mailbox exchange, 8 bytes");
  measure(area, 2036, "mailbox exchange, 2036 bytes");
  done = true;
  card.join();
  return 0;
}
