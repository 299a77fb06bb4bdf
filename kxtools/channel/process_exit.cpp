#include "channel/process_exit.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>

#include "common/report.h"

namespace {

std::atomic<kxtool_exit_hook> exit_hook = nullptr;

}  // namespace

void kxtool_process_exit_hook_set(kxtool_exit_hook hook) {
  exit_hook = hook;
}

void kxtool_process_exit(int status) {
  const kxtool_exit_hook hook = exit_hook.exchange(nullptr);
  if (hook != nullptr) {
    status = hook(status);
  }
  const int exit_status = kx_exit_status(status);
  fflush(stderr);
  _exit(exit_status);
}
