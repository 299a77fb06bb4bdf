#include "dpp_chip/dpp_mutex.h"

#include <utility>

#include "qlix_comm/print.h"

dpp_mutex_guard::dpp_mutex_guard(dpp_mutex* mutex, const char* file, const char* function, uint32_t line)
    : file_(file), function_(function), line_(line) {
  status_ = qlix_comm_mutex_lock(mutex);
  if (status_ == 0) {
    mutex_ = mutex;
  } else {
    QLIX_COMM_TRACE_ERROR("File: [%s],Function:[%s],Line:%u mutex lock failed!-->Return ERROR\n", file, function, line);
  }
}

dpp_mutex_guard::~dpp_mutex_guard() {
  unlock();
}

uint32_t dpp_mutex_guard::unlock() {
  if (mutex_ == nullptr) {
    return 0;
  }
  const uint32_t rc = qlix_comm_mutex_unlock(std::exchange(mutex_, nullptr));
  if (rc != 0) {
    QLIX_COMM_TRACE_ERROR("File: [%s],Function:[%s],Line:%u mutex unlock failed!-->Return ERROR\n", file_, function_,
                          line_);
  }
  return rc;
}
