// The lock files by which all tool processes exclude each other, in one folder that users of every identity share. The
// kernel drops the lock of a process that dies, so a killed tool leaves nothing behind.
#pragma once

#include "common/lock_wait.h"

/// Opens the lock file `name` and waits for its lock, at most a minute; after a second a line on standard error says
/// who holds it. `try_lock` is as for kx_lock_wait, and takes a turn. The lock lasts as long as the descriptor or until
/// it is given back.
kx_shared_file lock_file_take(const char* name, bool (*try_lock)(int fd) = kx_flock_in_turn);

/// The same, with a line on standard error when the lock, which is that of the `what`, cannot be had.
kx_unique_fd lock_file_take_or_tell(const char* what, const char* name, bool (*try_lock)(int fd) = kx_flock_in_turn);
