#include "silence_check.h"

#include <unistd.h>

#include <mutex>

#include "channel/event.h"
#include "channel/thread.h"
#include "common/report.h"
#include "startup/silence.h"

namespace {

constexpr unsigned PERIOD_S = 5;

struct silence_hook {
  kxtool_silence_cb callback;
  void* argument;
};

// The command registers, the timer thread calls.
constinit std::mutex hook_mutex;
silence_hook hook;

// The counters at the last period; the timer thread's own.
struct progress {
  uint32_t requests;
  uint32_t notices;
  bool operator==(const progress&) const = default;
};
progress last;

void timer_thread(void*) {
  while (true) {
    sleep(PERIOD_S);
    kxtool_silence_check();
  }
}

}  // namespace

void kxtool_silence_check() {
  const progress now = {kxtool_stats.tx_req.load(std::memory_order_relaxed),
                        kxtool_stats.rx_pkt.load(std::memory_order_relaxed)};
  silence_hook current;
  {
    const std::lock_guard lock(hook_mutex);
    current = hook;
  }
  if (current.callback != nullptr && now == last) {
    current.callback(current.argument);
  }
  last = now;
}

void kxtool_regiser_silence_cb(kxtool_silence_cb callback, void* argument) {
  const std::lock_guard lock(hook_mutex);
  hook = {callback, argument};
}

int kxtool_create_timer_5s() {
  if (!kxtool_thread_start(timer_thread, nullptr)) {
    return MTS_ERR("Error creating recv msg thread !\n");
  }
  return 0;
}
