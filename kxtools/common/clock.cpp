#include "common/clock.h"

#include <ctime>

uint64_t kx_now_ms() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

std::string kx_utc_text() {
  const time_t now = time(nullptr);
  struct tm utc = {};
  gmtime_r(&now, &utc);
  char text[64];
  return {text, strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &utc)};
}
