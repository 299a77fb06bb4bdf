#include "host/private_folder.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace vcard {

namespace {

/// What the card's files come to when BAR 0 is written everywhere, and what they usually come to: a folder that is full
/// ends the tool with a bus error.
constexpr uint64_t wanted_bytes[] = {128 << 20, 16 << 20};

bool has_space(const char* folder, uint64_t bytes) {
  struct statvfs info = {};
  return statvfs(folder, &info) == 0 && uint64_t{info.f_bavail} * info.f_frsize >= bytes;
}

}  // namespace

std::string PrivateFolder::make() {
  const char* own = getenv("TMPDIR");
  std::string refusal = "no temporary folder has space";
  for (const uint64_t bytes : wanted_bytes) {
    for (const char* place : {"/dev/shm", own != nullptr ? own : "/tmp", "/tmp", "/var/tmp"}) {
      if (!has_space(place, bytes)) {
        continue;
      }
      std::string path = std::string(place) + "/kxvcard.XXXXXX";
      char real[PATH_MAX];
      if (mkdtemp(path.data()) != nullptr && realpath(path.c_str(), real) != nullptr) {
        chmod(real, 0711);  // a command that becomes another user still reaches its files
        path_ = real;
        return "";
      }
      refusal = std::string("no folder in ") + place + ": " + strerror(errno);
    }
  }
  return refusal;
}

void PrivateFolder::remove() {
  if (!path_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
}

}  // namespace vcard
