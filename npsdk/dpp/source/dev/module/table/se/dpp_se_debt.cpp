#include <cstring>
#include <utility>

#include "dpp_se/dpp_se_hw.h"
#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"

namespace {

bool is_same_place(const dpp_se_write& a, const dpp_se_write& b) {
  return a.place == b.place && a.zblock == b.zblock && a.zcell == b.zcell && a.index == b.index && a.baddr == b.baddr &&
         a.mask == b.mask;
}

void debt_fill(dpp_se_debt* debt, const dpp_se_write& write) {
  debt->write = write;
  debt->write.data = debt->image;
  if (write.data_bytes != 0) {
    std::memcpy(debt->image, write.data, write.data_bytes);
  }
}

dpp_se_debt** debt_find(dpp_se_debts* debts, const dpp_se_write& write) {
  dpp_se_debt** at = &debts->first;
  while (*at != nullptr && !is_same_place((*at)->write, write)) {
    at = &(*at)->next;
  }
  return at;
}

/// Takes a debt out of the list.
void debt_drop(dpp_se_debts* debts, dpp_se_debt** at) {
  dpp_se_debt* debt = std::exchange(*at, (*at)->next);
  debts->num--;
  if (debt == &debts->own) {
    debts->own_used = false;
  } else {
    ic_comm_free_memory(debt);
  }
}

dpp_se_debt* debt_make(dpp_se_debts* debts) {
  if (!debts->own_used) {
    debts->own_used = true;
    return &debts->own;
  }
  return static_cast<dpp_se_debt*>(ic_comm_malloc_memory(sizeof(dpp_se_debt)));
}

}  // namespace

uint32_t dpp_se_debts_send(dpp_se_debts* debts, const dpp_se_writer* writer, const dpp_se_write* write, bool owed,
                           bool* kept) {
  *kept = false;
  const uint32_t rc = writer->write(writer->context, write);
  if (debts->first == nullptr && (rc == 0 || !owed)) [[likely]] {
    return rc;
  }
  dpp_se_debt** at = debt_find(debts, *write);
  if (rc == 0) {
    if (*at != nullptr) {
      debt_drop(debts, at);
    }
    return rc;
  }
  if (owed && *at == nullptr) {
    *at = debt_make(debts);
    if (*at != nullptr) {
      (*at)->next = nullptr;
      debts->num++;
    }
  }
  if (owed && *at != nullptr) {
    debt_fill(*at, *write);
    *kept = true;
  }
  return rc;
}

uint32_t dpp_se_debts_pay(dpp_se_debts* debts, const dpp_se_writer* writer) {
  while (debts->first != nullptr) {
    QLIX_COMM_PASS(writer->write(writer->context, &debts->first->write));
    debt_drop(debts, &debts->first);
  }
  return 0;
}

void dpp_se_debts_release(dpp_se_debts* debts) {
  while (debts->first != nullptr) {
    debt_drop(debts, &debts->first);
  }
}
