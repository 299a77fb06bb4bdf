// Mutex and spin lock of the network-processor driver. A mutex knows its owner, so a misplaced unlock is an error and
// not undefined. Neither is recursive.
#pragma once

#include <pthread.h>

#include <cstdint>

struct qlix_comm_mutex {
  pthread_mutex_t mutex;
};

/// All return 0, or the errno value of the failure (destroying a held mutex EBUSY, locking one's own EDEADLK, unlocking
/// another thread's or a free one EPERM); null is 0x1201.
std::uint32_t qlix_comm_mutex_create(qlix_comm_mutex* mutex);
std::uint32_t qlix_comm_mutex_destroy(qlix_comm_mutex* mutex);
std::uint32_t qlix_comm_mutex_lock(qlix_comm_mutex* mutex);
std::uint32_t qlix_comm_mutex_unlock(qlix_comm_mutex* mutex);

struct qlix_comm_spin_lock {
  pthread_spinlock_t lock;
};

std::uint32_t qlix_comm_spin_lock_create(qlix_comm_spin_lock* lock);
std::uint32_t qlix_comm_spin_lock_destroy(qlix_comm_spin_lock* lock);
std::uint32_t qlix_comm_spin_lock_lock(qlix_comm_spin_lock* lock);
std::uint32_t qlix_comm_spin_lock_unlock(qlix_comm_spin_lock* lock);
