// Who holds a file's lock, for the line that a waiting tool owes its user.
#pragma once

#include <sys/types.h>

struct kx_lock_holder {
  pid_t pid = 0;           ///< 0: nobody, or a process that the system does not show
  char command[128] = "";  ///< its command line, or its title without one, cut; characters that do not print are '?'
};

/// The other process that holds a lock on the open file `fd`, of flock or of records, by the kernel's own list: no
/// holder can hide or forge it.
kx_lock_holder kx_lock_holder_find(int fd);
