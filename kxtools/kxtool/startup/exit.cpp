#include "startup/exit.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "channel/process_exit.h"

void kxtool_exit(int status) {
  kxtool_release_fd_lock();
  kxtool_process_exit(status);
}

void exit_bad_args() {
  fflush(stdout);
  fputs("kxtool: bad command line argument(s)\nFor more information run kxtool -h\n", stderr);
  kxtool_exit(1);
}

int64_t kxtool_number_get(const char* word, int base, int64_t min, int64_t max) {
  char* end = nullptr;
  errno = 0;
  const long long value = strtoll(word, &end, base);
  if (errno != 0 || end == word || *end != '\0' || value < min || value > max) {
    exit_bad_args();
  }
  return value;
}
