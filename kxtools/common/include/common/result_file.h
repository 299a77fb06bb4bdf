// A file that a command leaves for the user: complete or not there at all.
#pragma once

#include <cstdio>
#include <string>

#include "common/unique_fd.h"

/// Written beside its place under a name of its own and renamed over it by commit(), so that an old file is kept until
/// the new one is whole. Neither a planted link nor anything but a regular file is replaced. What is not committed is
/// removed.
class kx_result_file {
 public:
  kx_result_file() = default;
  kx_result_file(const kx_result_file&) = delete;
  kx_result_file& operator=(const kx_result_file&) = delete;
  ~kx_result_file();

  /// Begins the file that will be `path`. False with errno when the place is not a regular file or free (EEXIST), or
  /// when the system refuses.
  bool open(const char* path);
  /// Where to write; valid between open() and commit().
  FILE* stream() const {
    return stream_;
  }
  /// Brings the content to the disk and the file to its place. False with errno, also for any write that failed before.
  bool commit();

 private:
  bool give_up(int error);

  std::string path_;
  std::string folder_;
  std::string temporary_;  // "" when there is nothing to remove
  FILE* stream_ = nullptr;
};
