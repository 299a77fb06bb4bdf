// Linked into every program of a covered build (clang's trace-pc-guard): which places of a program ran goes into a file
// mapped by all its processes, so that neither a signal's end nor _exit loses any. KX_COVERED names the folder:
// <program>.seen has a byte a place, <program>.pcs the places' addresses as the file of the program has them.
#include <fcntl.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

extern const char __executable_start;

static unsigned char* seen;

/** Opens the running program's file in KX_COVERED; -1 where nobody asked for it. */
static int open_beside(const char* ending, int flags) {
  const char* folder = getenv("KX_COVERED");
  char program[PATH_MAX] = "";
  char path[2 * PATH_MAX];
  if (folder == NULL || readlink("/proc/self/exe", program, sizeof program - 1) < 0) {
    return -1;
  }
  snprintf(path, sizeof path, "%s%s%s", folder, strrchr(program, '/'), ending);
  return open(path, flags | O_CLOEXEC, 0600);
}

void __sanitizer_cov_trace_pc_guard_init(uint32_t* start, uint32_t* stop) {
  const size_t places = (size_t)(stop - start);
  if (places == 0 || *start != 0) {
    return;
  }
  const int file = open_beside(".seen", O_RDWR | O_CREAT);
  if (file < 0 || ftruncate(file, (off_t)places + 1) != 0) {
    return;
  }
  void* mapped = mmap(NULL, places + 1, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (mapped == MAP_FAILED) {
    return;
  }
  seen = mapped;
  for (uint32_t place = 1; place <= places; ++place) {
    start[place - 1] = place;
  }
}

void __sanitizer_cov_pcs_init(const uintptr_t* start, const uintptr_t* stop) {
  const int file = open_beside(".pcs", O_WRONLY | O_CREAT | O_EXCL);
  if (file < 0) {
    return;
  }
  for (; start < stop; start += 2) {  // a pair a place: address and flags
    const uint64_t address = *start - (uintptr_t)&__executable_start;
    if (write(file, &address, sizeof address) != sizeof address) {
      break;
    }
  }
  close(file);
}

void __sanitizer_cov_trace_pc_guard(const uint32_t* guard) {
  if (*guard != 0) {
    seen[*guard] = 1;
  }
}
