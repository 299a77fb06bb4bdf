#include "dpp_chip/dpp_card_guard.h"

#include <cerrno>
#include <utility>

#include "dpp_dev_internal.h"

namespace {

bool is_held_here(const dpp_card_state& card) {
  return card.owner.load(std::memory_order_relaxed) == pthread_self();
}

}  // namespace

constinit std::atomic<uint32_t> dpp_dev_shared_cards{0};  // a bit for each device

uint32_t dpp_dev_card_lock_set(uint32_t dev_id, const dpp_card_lock& lock) {
  DPP_DEV_CHECK_ID(dev_id);
  dpp_dev_object* object = dpp_dev_object_get(dev_id);
  QLIX_COMM_CHECK_POINT(object);
  if ((lock.take == nullptr) != (lock.give == nullptr)) {
    return QLIX_COMM_POINT_NULL;
  }
  object->card.lock = lock;
  const uint32_t bit = 1u << dev_id;
  lock.take != nullptr ? dpp_dev_shared_cards.fetch_or(bit) : dpp_dev_shared_cards.fetch_and(~bit);
  return QLIX_COMM_OK;
}

void dpp_card_guard::take(dpp_mutex* mutex) {
  dpp_card_state* card = dpp_dev_card_is_shared(dev_id_) ? &dpp_dev_object_get(dev_id_)->card : nullptr;
  if (card != nullptr && is_held_here(*card)) {
    return;
  }
  status_ = mutex != nullptr ? mutex_take(mutex) : 0;
  if (status_ == 0 && card != nullptr) {
    status_ = card_take(card);
  }
  if (status_ != 0) {
    unlock();
  }
}

uint32_t dpp_card_guard::unlock() {
  uint32_t rc = 0;
  if (dpp_card_state* card = std::exchange(card_, nullptr); card != nullptr) {
    card->lock.give(dev_id_);
    card->owner.store(0, std::memory_order_relaxed);
    rc = qlix_comm_mutex_unlock(&card->mutex);
  }
  if (dpp_mutex* mutex = std::exchange(mutex_, nullptr); mutex != nullptr) {
    const uint32_t unlocked = qlix_comm_mutex_unlock(mutex);
    rc = rc != 0 ? rc : unlocked;
  }
  return rc != 0 ? failed("unlock", rc) : 0;
}

// A mutex that this thread holds already belongs to a guard further out.
uint32_t dpp_card_guard::mutex_take(dpp_mutex* mutex) {
  const uint32_t rc = qlix_comm_mutex_lock(mutex);
  if (rc == EDEADLK) {
    return 0;
  }
  if (rc != 0) {
    return failed("lock", rc);
  }
  mutex_ = mutex;
  return 0;
}

uint32_t dpp_card_guard::card_take(dpp_card_state* card) {
  const uint32_t rc = qlix_comm_mutex_lock(&card->mutex);
  if (rc != 0) {
    return failed("lock", rc);
  }
  if (card->lock.take(dev_id_) != 0) {
    static_cast<void>(qlix_comm_mutex_unlock(&card->mutex));
    return DPP_RC_DEV_CARD_BUSY;
  }
  card->owner.store(pthread_self(), std::memory_order_relaxed);
  card_ = card;
  return 0;
}

uint32_t dpp_card_guard::failed(const char* action, uint32_t code) const {
  dpp_mutex_failure_report(file_, function_, line_, action);
  return code;
}
