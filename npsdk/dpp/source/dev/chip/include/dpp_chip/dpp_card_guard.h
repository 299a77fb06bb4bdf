// Accesses that belong together: the words of an indirect window, the three doorbell registers of a queue, a read and
// the write that follows it. Threads of one process exclude each other by the operation mutexes; processes that share
// a card exclude each other by a lock that the program brings, because this driver knows of no other process.
//
// Order of locks: the operation mutex, then the card's lock, then whatever a raw access takes for itself. A thread that
// holds the card takes nothing more for it, so guards nest.
#pragma once

#include <atomic>
#include <cstdint>

#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_mutex.h"
#include "qlix_comm/check.h"

inline constexpr uint32_t DPP_RC_DEV_CARD_BUSY = 0x60C;  ///< another process does not give the card back

/// The program's lock on the card behind a device. `take` waits for it, within a limit and with a line of its own when
/// that is reached, and returns 0 when it is held; `give` gives it back. Both are called by one thread at a time, never
/// nested. The lock must end with its process.
struct dpp_card_lock {
  uint32_t (*take)(uint32_t dev_id);
  void (*give)(uint32_t dev_id);
};
/// Sets the lock of a device that was added; null hooks take it away. To be called before the device is used.
uint32_t dpp_dev_card_lock_set(uint32_t dev_id, const dpp_card_lock& lock);

/// True when the device has such a lock; a device number that does not exist has none.
inline bool dpp_dev_card_is_shared(uint32_t dev_id) {
  extern std::atomic<uint32_t> dpp_dev_shared_cards;
  return dev_id < DPP_DEV_MAX && (dpp_dev_shared_cards.load(std::memory_order_relaxed) >> dev_id & 1) != 0;
}

struct dpp_card_state;

/// Holds a card for a scope: `mutex` (null: none) against the threads of this process, the card's lock against other
/// processes. Declare it with DPP_CARD_GUARD and test `status()` before touching what is protected.
class dpp_card_guard {
 public:
  dpp_card_guard(uint32_t dev_id, dpp_mutex* mutex, const char* file, const char* function, uint32_t line)
      : dev_id_(dev_id), file_(file), function_(function), line_(line) {
    if (mutex != nullptr || dpp_dev_card_is_shared(dev_id)) {
      take(mutex);
    }
  }
  dpp_card_guard(const dpp_card_guard&) = delete;
  dpp_card_guard& operator=(const dpp_card_guard&) = delete;
  ~dpp_card_guard() {
    if (mutex_ != nullptr || card_ != nullptr) {
      unlock();
    }
  }

  /// 0 when everything is held, else the code of what could not be had.
  uint32_t status() const {
    return status_;
  }
  /// Gives everything back before the end of the scope. Returns 0 or the code of a failed unlock.
  uint32_t unlock();

 private:
  [[gnu::cold]] uint32_t failed(const char* action, uint32_t code) const;
  void take(dpp_mutex* mutex);
  uint32_t mutex_take(dpp_mutex* mutex);
  uint32_t card_take(dpp_card_state* card);

  uint32_t dev_id_;
  uint32_t status_ = 0;
  dpp_mutex* mutex_ = nullptr;      // what this guard took itself
  dpp_card_state* card_ = nullptr;  // what this guard took itself
  const char* file_;
  const char* function_;
  uint32_t line_;
};

#define DPP_CARD_GUARD(name, dev_id, mutex) dpp_card_guard name(dev_id, mutex, __FILE_NAME__, __func__, __LINE__)

/// The same with the operation mutex of a type (dpp_dev_mutex.h); makes the surrounding function return when it cannot
/// be had.
#define DPP_OPERATION_GUARD(name, dev_id, type)                       \
  dpp_mutex* name##_mutex = nullptr;                                  \
  QLIX_COMM_CALL(dpp_dev_opr_mutex_get, dev_id, type, &name##_mutex); \
  DPP_CARD_GUARD(name, dev_id, name##_mutex);                         \
  if ((name).status() != 0) {                                         \
    return (name).status();                                           \
  }                                                                   \
  static_assert(true)
