#include "file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace reg_gen {

namespace {

void fail_if(bool failed, const char* path) {
  if (failed) {
    fprintf(stderr, "%s: %s\n", path, strerror(errno));
    exit(1);
  }
}

}  // namespace

std::string file_read(const char* path) {
  FILE* file = fopen(path, "rb");
  fail_if(file == nullptr, path);
  std::string text;
  char block[65536];
  size_t length;
  while ((length = fread(block, 1, sizeof block, file)) > 0) {
    text.append(block, length);
  }
  fail_if(ferror(file) != 0, path);
  fclose(file);
  return text;
}

void file_write(const char* path, const std::string& text) {
  FILE* file = fopen(path, "wb");
  fail_if(file == nullptr, path);
  const bool written = fwrite(text.data(), 1, text.size(), file) == text.size();
  fail_if(fclose(file) != 0 || !written, path);
}

std::string file_name(const char* path) {
  const char* slash = strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

void complaints_end(const complaints& found) {
  for (const complaint& c : found) {
    fprintf(stderr, "%s:%u: %s\n", c.at.file.c_str(), c.at.line, c.text.c_str());
  }
  if (!found.empty()) {
    exit(1);
  }
}

}  // namespace reg_gen
