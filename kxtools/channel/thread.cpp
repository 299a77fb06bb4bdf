#include "channel/thread.h"

#include <pthread.h>

#include <cstdlib>

#include "common/signals.h"

namespace {

struct thread_start {
  void (*body)(void* argument);
  void* argument;
};

void* run(void* start_address) {
  const thread_start start = *static_cast<thread_start*>(start_address);
  free(start_address);
  start.body(start.argument);
  return nullptr;
}

}  // namespace

bool kxtool_thread_start(void (*body)(void* argument), void* argument) {
  auto* start = static_cast<thread_start*>(malloc(sizeof(thread_start)));
  if (start == nullptr) {
    return false;
  }
  *start = {body, argument};
  pthread_t thread;
  const kx_signal_hold hold;  // the new thread takes over what is held
  if (pthread_create(&thread, nullptr, run, start) != 0) {
    free(start);
    return false;
  }
  pthread_detach(thread);
  return true;
}
