#include "qlix_comm/mutex.h"

#include "qlix_comm/check.h"

std::uint32_t qlix_comm_mutex_create(qlix_comm_mutex* mutex) {
  QLIX_COMM_CHECK_POINT(mutex);
  // A device has 150 of them, made at every start: a copy costs a tenth of an attribute and its initialisation.
  constexpr pthread_mutex_t CHECKING_OWNERS = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
  mutex->mutex = CHECKING_OWNERS;
  return 0;
}

std::uint32_t qlix_comm_mutex_destroy(qlix_comm_mutex* mutex) {
  QLIX_COMM_CHECK_POINT(mutex);
  return static_cast<std::uint32_t>(pthread_mutex_destroy(&mutex->mutex));
}

std::uint32_t qlix_comm_mutex_lock(qlix_comm_mutex* mutex) {
  QLIX_COMM_CHECK_POINT(mutex);
  return static_cast<std::uint32_t>(pthread_mutex_lock(&mutex->mutex));
}

std::uint32_t qlix_comm_mutex_unlock(qlix_comm_mutex* mutex) {
  QLIX_COMM_CHECK_POINT(mutex);
  return static_cast<std::uint32_t>(pthread_mutex_unlock(&mutex->mutex));
}

std::uint32_t qlix_comm_spin_lock_create(qlix_comm_spin_lock* lock) {
  QLIX_COMM_CHECK_POINT(lock);
  return static_cast<std::uint32_t>(pthread_spin_init(&lock->lock, PTHREAD_PROCESS_PRIVATE));
}

std::uint32_t qlix_comm_spin_lock_destroy(qlix_comm_spin_lock* lock) {
  QLIX_COMM_CHECK_POINT(lock);
  return static_cast<std::uint32_t>(pthread_spin_destroy(&lock->lock));
}

std::uint32_t qlix_comm_spin_lock_lock(qlix_comm_spin_lock* lock) {
  QLIX_COMM_CHECK_POINT(lock);
  return static_cast<std::uint32_t>(pthread_spin_lock(&lock->lock));
}

std::uint32_t qlix_comm_spin_lock_unlock(qlix_comm_spin_lock* lock) {
  QLIX_COMM_CHECK_POINT(lock);
  return static_cast<std::uint32_t>(pthread_spin_unlock(&lock->lock));
}
