#include "host/mount_points.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace vcard {

namespace {

bool is_still(const std::string& path, int folder) {
  struct stat by_path, by_fd;
  return lstat(path.c_str(), &by_path) == 0 && fstat(folder, &by_fd) == 0 && by_path.st_ino == by_fd.st_ino &&
         by_path.st_dev == by_fd.st_dev;
}

}  // namespace

std::string MountPoints::hold(const std::string& path) {
  for (;;) {
    bool made = mkdir(path.c_str(), 0777) == 0;
    if (!made && errno != EEXIST) {
      return "cannot make the folder " + path + ": " + strerror(errno);
    }
    UniqueFd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder && errno == ENOENT) {
      continue;  // removed between the two calls by a virtual card that ended
    }
    if (!folder && errno == EACCES) {
      return "";  // someone else's folder: it can be mounted on and is not ours to remove
    }
    if (!folder) {
      return path + " is in the way, it is no folder: " + strerror(errno);
    }
    if (made) {
      fchmod(folder.get(), 0777);
    }
    if (flock(folder.get(), LOCK_SH) != 0) {
      return "cannot lock the folder " + path + ": " + strerror(errno);
    }
    if (is_still(path, folder.get())) {
      held_.push_back(Held{path, std::move(folder)});
      return "";
    }
  }
}

void MountPoints::release(bool unmount) {
  for (Held& held : held_) {
    if (unmount) {
      umount2(held.path.c_str(), MNT_DETACH);
    }
    // Let go first: of two users that end together, each would otherwise see the other's lock and neither would remove
    // it.
    flock(held.folder.get(), LOCK_UN);
    if (flock(held.folder.get(), LOCK_EX | LOCK_NB) == 0 && is_still(held.path, held.folder.get())) {
      rmdir(held.path.c_str());
    }
  }
  held_.clear();
}

}  // namespace vcard
