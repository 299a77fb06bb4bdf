// A file that gets its name when it is complete: written beside the target and renamed over it.
#pragma once

#include <cstdio>
#include <string>

/// Removes what it wrote unless commit() succeeded.
class partial_file {
 public:
  partial_file() = default;
  partial_file(const partial_file&) = delete;
  partial_file& operator=(const partial_file&) = delete;
  ~partial_file();

  /// Begins a file for `path`, readable by its owner only. A path that is a link, a folder or anything else but a
  /// regular file is refused. False with a message.
  bool create(const char* path);
  FILE* stream() const {
    return stream_;
  }
  /// Puts everything on the disk and gives the file its name. False with a message; the target is then as it was.
  bool commit();

 private:
  bool is_written();

  std::string path_;
  std::string temporary_;
  FILE* stream_ = nullptr;
};
