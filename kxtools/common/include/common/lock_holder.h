// Who holds a file's lock, for the line that a waiting tool owes its user.
#pragma once

#include <sys/types.h>

struct kx_lock_holder {
  pid_t pid = 0;          ///< 0: nobody, or a process that the system does not show
  char command[64] = "";  ///< its command line, cut; characters that do not print are '?'
};

/// The process that holds the flock of the open file `fd`.
kx_lock_holder kx_lock_holder_find(int fd);
