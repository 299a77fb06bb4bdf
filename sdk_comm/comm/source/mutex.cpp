#include "qlix_comm/mutex.h"

#include "qlix_comm/check.h"

std::uint32_t qlix_comm_mutex_create(qlix_comm_mutex* mutex) {
  QLIX_COMM_CHECK_POINT(mutex);
  pthread_mutexattr_t attributes;
  int error = pthread_mutexattr_init(&attributes);
  if (error == 0) {
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    error = pthread_mutex_init(&mutex->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }
  return static_cast<std::uint32_t>(error);
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
