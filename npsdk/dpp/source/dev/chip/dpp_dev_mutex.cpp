#include "dpp_chip/dpp_dev_mutex.h"

#include "dpp_dev_internal.h"

namespace {

constexpr uint32_t NO_MUTEX = 1;

// Types 3 and 7 have no mutex and 17 is the queue engine's own: the others follow each other.
constexpr uint32_t operation_slot(uint32_t type) {
  return type - (type > 3 ? 1 : 0) - (type > 7 ? 1 : 0) - (type > DPP_DEV_MUTEX_T_DTB ? 1 : 0);
}
static_assert(operation_slot(DPP_DEV_MUTEX_T_MAX - 1) == DPP_DEV_OPR_MUTEX_NUM - 1);

template <uint32_t Num>
uint32_t family_create(dpp_mutex (&family)[Num]) {
  for (dpp_mutex& mutex : family) {
    QLIX_COMM_CALL(qlix_comm_mutex_create, &mutex);
  }
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t dpp_dev_mutexes_create(dpp_dev_mutexes& mutexes) {
  QLIX_COMM_CHECK_RC(family_create(mutexes.operation), "operation mutexes");
  QLIX_COMM_CHECK_RC(family_create(mutexes.hash), "hash mutexes");
  QLIX_COMM_CHECK_RC(family_create(mutexes.dtb_queue), "DTB queue mutexes");
  QLIX_COMM_CALL(qlix_comm_mutex_create, &mutexes.dtb);
  return QLIX_COMM_CALLED(qlix_comm_spin_lock_create, &mutexes.spin_lock);
}

uint32_t dpp_dev_opr_mutex_get(uint32_t dev_id, uint32_t type, dpp_mutex** mutex) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_INDEX_UPPER(type, DPP_DEV_MUTEX_T_MAX - 1);
  QLIX_COMM_CHECK_POINT(mutex);
  dpp_dev_object* object = dpp_dev_object_get(dev_id);
  if (object == nullptr || type == 3 || type == 7) {
    return NO_MUTEX;
  }
  *mutex = type == DPP_DEV_MUTEX_T_DTB ? &object->mutexes.dtb : &object->mutexes.operation[operation_slot(type)];
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_hash_opr_mutex_get(uint32_t dev_id, uint32_t hash_engine, dpp_mutex** mutex) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_INDEX_UPPER(hash_engine, DPP_DEV_HASH_MUTEX_NUM - 1);
  QLIX_COMM_CHECK_POINT(mutex);
  dpp_dev_object* object = dpp_dev_object_get(dev_id);
  if (object == nullptr) {
    return NO_MUTEX;
  }
  *mutex = &object->mutexes.hash[hash_engine];
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_dtb_opr_mutex_get(uint32_t dev_id, uint32_t type, uint32_t queue_id, dpp_mutex** mutex) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_INDEX_UPPER(queue_id, DPP_DEV_DTB_MUTEX_NUM - 1);
  QLIX_COMM_CHECK_POINT(mutex);
  dpp_dev_object* object = dpp_dev_object_get(dev_id);
  if (object == nullptr || type != DPP_DEV_MUTEX_T_DTB) {
    return NO_MUTEX;
  }
  *mutex = &object->mutexes.dtb_queue[queue_id];
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_opr_spin_lock_get(uint32_t dev_id, qlix_comm_spin_lock** lock) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_POINT(lock);
  dpp_dev_object* object = dpp_dev_object_get(dev_id);
  if (object == nullptr) {
    return NO_MUTEX;
  }
  *lock = &object->mutexes.spin_lock;
  return QLIX_COMM_OK;
}
