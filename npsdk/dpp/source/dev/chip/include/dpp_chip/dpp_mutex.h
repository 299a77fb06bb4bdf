// Holding a mutex of the driver for a scope.
#pragma once

#include <cstdint>
#include <utility>

#include "qlix_comm/mutex.h"

using dpp_mutex = qlix_comm_mutex;

/// Traces that a mutex could not be taken or given back, with the place of its guard.
[[gnu::cold]] void dpp_mutex_failure_report(const char* file, const char* function, uint32_t line, const char* action);

/// Declare it with DPP_MUTEX_GUARD, then test `locked()` before touching what the mutex protects. A failed unlock, at
/// the end of the scope or before, is reported with the place of the guard.
class dpp_mutex_guard {
 public:
  dpp_mutex_guard(dpp_mutex* mutex, const char* file, const char* function, uint32_t line)
      : mutex_(mutex), status_(qlix_comm_mutex_lock(mutex)), file_(file), function_(function), line_(line) {
    if (status_ != 0) {
      mutex_ = nullptr;
      dpp_mutex_failure_report(file_, function_, line_, "lock");
    }
  }
  dpp_mutex_guard(const dpp_mutex_guard&) = delete;
  dpp_mutex_guard& operator=(const dpp_mutex_guard&) = delete;
  ~dpp_mutex_guard() {
    unlock();
  }

  bool locked() const {
    return mutex_ != nullptr;
  }
  /// 0 when the mutex could be taken, else the code of the failed lock.
  uint32_t status() const {
    return status_;
  }
  /// Gives the mutex back before the end of the scope. Returns 0 or the code of the failed unlock.
  uint32_t unlock() {
    if (mutex_ == nullptr) {
      return 0;
    }
    const uint32_t rc = qlix_comm_mutex_unlock(std::exchange(mutex_, nullptr));
    if (rc != 0) {
      dpp_mutex_failure_report(file_, function_, line_, "unlock");
    }
    return rc;
  }

 private:
  dpp_mutex* mutex_;
  uint32_t status_;
  const char* file_;
  const char* function_;
  uint32_t line_;
};

#define DPP_MUTEX_GUARD(name, mutex) dpp_mutex_guard name(mutex, __FILE_NAME__, __func__, __LINE__)
