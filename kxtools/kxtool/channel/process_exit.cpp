#include "channel/process_exit.h"

#include <unistd.h>

#include <cstdio>

#include "common/report.h"

void kxtool_process_exit(int status) {
  const int exit_status = kx_exit_status(status);
  fflush(stderr);
  _exit(exit_status);
}
