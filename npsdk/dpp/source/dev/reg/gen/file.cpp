#include "file.h"

#include <cstdio>
#include <cstring>

namespace reg_gen {

bool file_read(const char* path, std::string& text) {
  FILE* file = fopen(path, "rb");
  if (file == nullptr) {
    return false;
  }
  char block[65536];
  size_t length;
  while ((length = fread(block, 1, sizeof block, file)) > 0) {
    text.append(block, length);
  }
  const bool good = ferror(file) == 0;
  fclose(file);
  return good;
}

bool file_write(const char* path, const std::string& text) {
  FILE* file = fopen(path, "wb");
  if (file == nullptr) {
    return false;
  }
  const bool written = fwrite(text.data(), 1, text.size(), file) == text.size();
  return fclose(file) == 0 && written;
}

std::string file_name(const char* path) {
  const char* slash = strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

}  // namespace reg_gen
