#include "dpp_diag/dpp_work.h"

namespace {

const dpp_work_hooks* hooks = nullptr;

}  // namespace

void dpp_work_hooks_set(const dpp_work_hooks* program) {
  hooks = program;
}

dpp_work::dpp_work() {
  if (hooks != nullptr) {
    hooks->begin();
  }
}

dpp_work::~dpp_work() {
  status(nullptr);
  if (hooks != nullptr) {
    hooks->end();
  }
}

bool dpp_work::interrupted() {
  return hooks != nullptr && hooks->interrupted();
}

void dpp_work::status(const char* text) {
  if (hooks != nullptr) {
    hooks->status(text);
  }
}
