// Holding a mutex of the driver for a scope.
#pragma once

#include <cstdint>

#include "qlix_comm/mutex.h"

using dpp_mutex = qlix_comm_mutex;

/// Declare it with DPP_MUTEX_GUARD, then test `locked()` before touching what the mutex protects. A failed unlock, at
/// the end of the scope or before, is reported with the place of the guard.
class dpp_mutex_guard {
 public:
  dpp_mutex_guard(dpp_mutex* mutex, const char* file, const char* function, uint32_t line);
  dpp_mutex_guard(const dpp_mutex_guard&) = delete;
  dpp_mutex_guard& operator=(const dpp_mutex_guard&) = delete;
  ~dpp_mutex_guard();

  bool locked() const {
    return mutex_ != nullptr;
  }
  /// 0 when the mutex could be taken, else the code of the failed lock.
  uint32_t status() const {
    return status_;
  }
  /// Gives the mutex back before the end of the scope. Returns 0 or the code of the failed unlock.
  uint32_t unlock();

 private:
  dpp_mutex* mutex_ = nullptr;
  uint32_t status_ = 0;
  const char* file_;
  const char* function_;
  uint32_t line_;
};

#define DPP_MUTEX_GUARD(name, mutex) dpp_mutex_guard name(mutex, __FILE_NAME__, __func__, __LINE__)
