#include "host/private_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string_view>

namespace vcard {

namespace {

/// What the card's files come to when BAR 0 is written everywhere, and what they usually come to: a folder that is full
/// ends the tool with a bus error.
constexpr uint64_t wanted_bytes[] = {128 << 20, 16 << 20};

/// A folder has this name from the moment on in which it is locked: whose lock is free, its makers are dead.
constexpr std::string_view locked_name = "kxvcard-locked-";
constexpr std::string_view first_name = "kxvcard.";
constexpr std::string_view own_part = "XXXXXX";

bool has_space(const char* folder, uint64_t bytes) {
  struct statvfs info = {};
  return statvfs(folder, &info) == 0 && uint64_t{info.f_bavail} * info.f_frsize >= bytes;
}

UniqueFd folder_open(int place, const char* name) {
  return UniqueFd(openat(place, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Makes a folder, locked and then named. -1 with errno.
UniqueFd locked_folder_make(const std::string& place, std::string& path) {
  std::string first = place + "/" + std::string(first_name) + std::string(own_part);
  if (mkdtemp(first.data()) == nullptr) {
    return UniqueFd();
  }
  chmod(first.c_str(), 0711);  // a command that becomes another user still reaches its files
  UniqueFd folder = folder_open(AT_FDCWD, first.c_str());
  path = place + "/" + std::string(locked_name) + first.substr(first.size() - own_part.size());
  if (!folder || flock(folder.get(), LOCK_EX | LOCK_NB) != 0 ||
      renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0) {
    path = first;  // of a file system that has not all of this nobody can tell whether the folder is used
  }
  return folder;
}

/// True for a folder of this user whose processes have all been killed; locked by `folder` then.
bool is_dead(const UniqueFd& folder) {
  struct stat info = {};
  return folder && flock(folder.get(), LOCK_EX | LOCK_NB) == 0 && fstat(folder.get(), &info) == 0 &&
         info.st_uid == geteuid() && info.st_nlink != 0;
}

struct CloseFolder {
  void operator()(DIR* folder) const {
    closedir(folder);
  }
};

/// Removes what killed runs have left in a place.
void dead_folders_remove(const std::string& place) {
  const std::unique_ptr<DIR, CloseFolder> entries(opendir(place.c_str()));
  while (const dirent* entry = entries != nullptr ? readdir(entries.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    if (!name.starts_with(locked_name) || name.size() != locked_name.size() + own_part.size()) {
      continue;
    }
    if (const UniqueFd folder = folder_open(dirfd(entries.get()), entry->d_name); is_dead(folder)) {
      std::error_code ignored;
      std::filesystem::remove_all(place + "/" + entry->d_name, ignored);
    }
  }
}

}  // namespace

std::string PrivateFolder::make() {
  const char* own = getenv("TMPDIR");
  const char* const places[] = {"/dev/shm", own != nullptr ? own : "/tmp", "/tmp", "/var/tmp"};
  for (const char* place : places) {
    dead_folders_remove(place);
  }
  std::string refusal = "no temporary folder has space";
  for (const uint64_t bytes : wanted_bytes) {
    for (const char* place : places) {
      if (!has_space(place, bytes)) {
        continue;
      }
      std::string path;
      char real[PATH_MAX];
      lock_ = locked_folder_make(place, path);
      if (lock_ && realpath(path.c_str(), real) != nullptr) {
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
