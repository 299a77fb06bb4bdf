// The mutex of the driver: one that knows its owner, so that giving back what is not held is seen and reported.
#pragma once

#include <pthread.h>

#include <cstdint>

/// Lives as long as its device; never copied, because other threads may wait on it.
struct dpp_mutex {
  pthread_mutex_t handle;
};

// All return 0, 0x1201 for a null pointer, or 1 when the system refuses (a second lock by the same thread, an unlock
// by a thread that does not hold it).
uint32_t dpp_mutex_init(dpp_mutex* mutex);
uint32_t dpp_mutex_lock(dpp_mutex* mutex);
uint32_t dpp_mutex_unlock(dpp_mutex* mutex);

/// Holds a mutex for a scope. Declare it with DPP_MUTEX_GUARD, then test `locked()` before touching what it protects.
/// A failed unlock is reported with the place of the guard.
class dpp_mutex_guard {
 public:
  dpp_mutex_guard(dpp_mutex* mutex, const char* file, const char* function, uint32_t line);
  dpp_mutex_guard(const dpp_mutex_guard&) = delete;
  dpp_mutex_guard& operator=(const dpp_mutex_guard&) = delete;
  ~dpp_mutex_guard();

  bool locked() const {
    return mutex_ != nullptr;
  }
  /// 0 while the mutex is held, else the code of the failed lock.
  uint32_t status() const {
    return status_;
  }
  /// Gives the mutex back before the end of the scope. Returns 0, or 1 after the report of a failed unlock.
  uint32_t unlock();

 private:
  dpp_mutex* mutex_ = nullptr;
  uint32_t status_ = 0;
  const char* file_;
  const char* function_;
  uint32_t line_;
};

#define DPP_MUTEX_GUARD(name, mutex) dpp_mutex_guard name(mutex, __FILE__, __func__, __LINE__)
