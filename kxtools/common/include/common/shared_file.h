// Files in world-writable places (locks under /tmp, the update log): opened without following a planted link, without
// truncation, and only when they are regular files with one name.
#pragma once

#include <sys/types.h>

#include "common/unique_fd.h"

/// Where opening a shared file failed; every caller has its own words for each step.
enum class kx_shared_file_step { opened, stat_folder, make_folder, chmod_folder, open_file, lock_file };

struct kx_shared_file {
  kx_unique_fd fd;
  kx_shared_file_step step = kx_shared_file_step::open_file;
  int error = 0;  ///< errno of the failed step
};

/// Opens `name` in `folder` with `flags` (O_CREAT, O_APPEND, ...; links are never followed) and, when it is created,
/// `file_mode`, whatever the umask is. A missing folder is created with `folder_mode`; its parent must exist. `name`
/// must not be empty, "." or "..", and must not contain a '/'. A folder that is no folder (or is a link) fails with
/// stat_folder, a file that is no regular file or has a second name with open_file.
///
/// A `folder_mode` with the sticky bit says that users of every identity share the folder: one that is there already
/// and that everybody may write gets the bit too, so that nobody removes another's file, and the super user takes a
/// folder that another user has made.
kx_shared_file kx_shared_file_open(const char* folder, const char* name, int flags, mode_t folder_mode,
                                   mode_t file_mode);

/// True when the file has been removed meanwhile: what is locked in it keeps nobody out any more.
bool kx_shared_file_is_removed(int fd);
