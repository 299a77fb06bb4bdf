// Waiting for a lock that another process holds, and naming that process.
#pragma once

#include "common/wait.h"

/// Tries until `try_lock(fd)` is true. While it is false with EWOULDBLOCK, EAGAIN or EACCES another process holds the
/// lock: after one second a line on standard error names that process and `path`. Another errno ends the wait as gone,
/// and stands.
kx_waited kx_lock_wait(int fd, const char* path, const kx_wait_limit& limit, bool (*try_lock)(int fd));

/// Tries for an exclusive lock on the whole file, for kx_lock_wait.
bool kx_flock_exclusive(int fd);
