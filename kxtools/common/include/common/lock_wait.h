// Waiting for a lock that another process holds, and naming that process.
#pragma once

#include "common/shared_file.h"
#include "common/wait.h"

/// Tries until `try_lock(fd)` is true. While it is false with EWOULDBLOCK, EAGAIN or EACCES another process holds the
/// lock: after one second a line on standard error names that process and `path`. Another errno ends the wait as gone,
/// and stands.
kx_waited kx_lock_wait(int fd, const char* path, const kx_wait_limit& limit, bool (*try_lock)(int fd));

/// Tries for an exclusive lock on the whole file, for kx_lock_wait.
bool kx_flock_exclusive(int fd);

/// Opens the lock file `name` as kx_shared_file_open does and waits for its lock; one that was removed meanwhile keeps
/// nobody out and is opened anew. The lock lasts as long as the descriptor.
kx_shared_file kx_shared_lock_take(const char* folder, const char* name, mode_t folder_mode, mode_t file_mode,
                                   const kx_wait_limit& limit, bool (*try_lock)(int fd) = kx_flock_exclusive);

/// How long one look of kx_flock_in_turn waits at most.
inline constexpr uint32_t KX_FLOCK_TURN_MS = 100;

/// The same, for kx_lock_wait, waiting for it in the kernel's queue: who comes first is served first, and nobody looks
/// again and again. The wait ends after a turn, so that a holder which is stopped holds nobody for ever, and by a
/// signal that has a handler.
bool kx_flock_in_turn(int fd);
