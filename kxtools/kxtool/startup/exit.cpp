#include "startup/exit.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "channel/driver.h"
#include "channel/process_exit.h"
#include "common/device_memory.h"
#include "common/text.h"
#include "startup/cmd_ctx.h"

void kxtool_exit(int status) {
  // The driver's registration ends before another tool may begin one.
  if (kxtool_cmd_ctx* ctx = kxtool_get_cmd_ctx(); ctx != nullptr) {
    tarn_tools_driver_close(&ctx->device);
  }
  kxtool_release_fd_lock();
  kxtool_process_exit(status == 0 && kx_device_memory_losses != 0 ? 1 : status);
}

void exit_bad_args(const std::string& why) {
  fflush(stdout);
  fputs("kxtool: bad command line argument(s)\nFor more information run kxtool -h\n", stderr);
  fputs(why.c_str(), stderr);
  kxtool_exit(1);
}

int64_t kxtool_number_get(const char* word, int base, int64_t min, int64_t max) {
  char* end = nullptr;
  errno = 0;
  const long long value = strtoll(word, &end, base);
  if (errno != 0 || end == word || *end != '\0' || value < min || value > max) {
    exit_bad_args(kx_text("kxtool: '%s' is no number from %" PRId64 " to %" PRId64 "\n", word, min, max));
  }
  return value;
}
