// A file that a command leaves for the user: complete or not there at all.
#pragma once

#include <cstdio>
#include <string>

#include "common/unique_fd.h"

/// Has no name until commit() gives it one, so that nothing of it stays however the tool ends, and an old file is kept
/// until the new one is whole. On a file system without nameless files it is written beside its place under a name of
/// its own, which is removed unless the tool is killed. Neither a planted link nor anything but a regular file is
/// replaced.
class kx_result_file {
 public:
  kx_result_file() = default;
  kx_result_file(const kx_result_file&) = delete;
  kx_result_file& operator=(const kx_result_file&) = delete;
  ~kx_result_file();

  /// Begins the file that will be `path`. False with errno when the place is not a regular file or free (EEXIST), or
  /// when the system refuses.
  bool open(const char* path);
  /// Where to write; valid between open() and commit(). Its error flag says that what follows is lost.
  FILE* stream() const {
    return stream_;
  }
  /// Brings the content to the disk and the file to its place. False with errno, also for any write that failed before.
  bool commit();

 private:
  bool temporary_open();
  bool name_give();
  bool give_up(int error);
  static ssize_t on_write(void* self, const char* bytes, size_t size);

  std::string path_;
  std::string folder_;
  std::string temporary_;  // "" while the file has no name
  kx_unique_fd fd_;
  FILE* stream_ = nullptr;
  int error_ = 0;  // of the first write that failed
};
