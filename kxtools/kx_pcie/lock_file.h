// The lock files by which all tool processes exclude each other, in one folder that users of every identity share. The
// kernel drops the lock of a process that dies, so a killed tool leaves nothing behind.
#pragma once

#include "common/lock_wait.h"
#include "common/unique_fd.h"

enum class lock_file_result { held, no_folder, no_file, busy };

/// Opens the lock file `name` and waits for its lock, at most a minute; after a second a line on standard error says
/// who holds it. `try_lock` is as for kx_lock_wait. The lock lasts as long as `fd` or until it is given back.
lock_file_result lock_file_take(const char* name, kx_unique_fd* fd, bool (*try_lock)(int fd) = kx_flock_exclusive);
