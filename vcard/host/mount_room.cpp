#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "host/room.h"
#include "host/unique_fd.h"

namespace vcard {

namespace {

std::string error_of(const std::string& what) {
  return what + ": " + strerror(errno);
}

bool file_write(const char* path, const std::string& text) {
  UniqueFd file(open(path, O_WRONLY | O_CLOEXEC));
  return file && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/// Every id stays what it is outside; only the right to mount is gained.
std::string user_namespace_enter() {
  const std::string uid = std::to_string(geteuid());
  const std::string gid = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER) != 0) {
    return error_of("user namespaces");
  }
  file_write("/proc/self/setgroups", "deny");
  if (!file_write("/proc/self/uid_map", uid + " " + uid + " 1") ||
      !file_write("/proc/self/gid_map", gid + " " + gid + " 1")) {
    return error_of("ids in user namespaces");
  }
  return "";
}

/// True unless the mount of the root folder is known to be nobody else's too.
bool root_is_shared() {
  const std::unique_ptr<FILE, int (*)(FILE*)> mounts(fopen("/proc/self/mountinfo", "re"), fclose);
  bool shared = true;
  char line[4096];
  while (mounts != nullptr && fgets(line, sizeof line, mounts.get()) != nullptr) {
    // "ID PARENT DEVICE ROOT POINT OPTIONS [shared:N ...] - TYPE ..."; the last one lies on top.
    char point[2048];
    if (sscanf(line, "%*s %*s %*s %*s %2047s", point) == 1 && strcmp(point, "/") == 0) {
      shared = strstr(line, " shared:") != nullptr;
    }
  }
  return shared;
}

/// A root folder that is no mount point, as chroot leaves it, is made one.
std::string root_make_mount() {
  char here[PATH_MAX] = "/";
  static_cast<void>(!getcwd(here, sizeof here));
  // ".." of a root goes to what lies over it; the current folder has to be entered anew there.
  if (mount("/", "/", nullptr, MS_BIND | MS_REC, nullptr) != 0 || chroot("/..") != 0 || chdir(here) != 0) {
    return error_of("a mount over the root folder");
  }
  if (root_is_shared()) {
    umount2("/", MNT_DETACH);  // it shows outside, too
    return "the root folder is no mount point, and its mount is shared";
  }
  return "";
}

/// Nothing that is mounted from here on shows outside.
std::string mounts_make_private() {
  if (unshare(CLONE_NEWNS) != 0) {
    return error_of("mount namespaces");
  }
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) {
    return "";
  }
  std::string refusal = errno == EINVAL ? root_make_mount() : error_of("private mounts");
  if (refusal.empty() && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    refusal = error_of("private mounts");
  }
  return refusal;
}

std::string memory_mount(const char* target) {
  if (mount("kxvcard", target, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0777") != 0) {
    return error_of(std::string("a folder in memory over ") + target);
  }
  return "";
}

std::string state_mount(const std::string& source, const char* target) {
  if (mount(source.c_str(), target, nullptr, MS_BIND, nullptr) != 0) {
    return error_of(source + " over " + target);
  }
  return "";
}

class MountRoom final : public Room {
 public:
  explicit MountRoom(bool user_namespace) : user_namespace_(user_namespace) {}

  std::string enter(const std::string& state) override {
    std::string refusal = user_namespace_ ? user_namespace_enter() : "";
    refusal = refusal.empty() ? mounts_make_private() : refusal;
    for (const char* target : {pci_bus_folder, net_class_folder}) {
      refusal = refusal.empty() ? memory_mount(target) : refusal;
    }
    if (!state.empty()) {
      return refusal.empty() ? state_enter(state) : refusal;
    }
    for (const char* target : {run_lock_folder, pcie_lock_folder, log_folder}) {
      refusal = refusal.empty() ? memory_mount(target) : refusal;
    }
    return refusal;
  }
  const CallRules& rules() const override {
    return rules_;
  }

 private:
  static std::string state_enter(const std::string& state) {
    std::string refusal = state_mount(state + "/tmp/kxtool", run_lock_folder);
    refusal = refusal.empty() ? state_mount(state + "/tmp/kx_pcie", pcie_lock_folder) : refusal;
    return refusal.empty() ? state_mount(state + "/log", log_folder) : refusal;
  }

  bool user_namespace_;
  CallRules rules_ = wire_rules();
};

}  // namespace

std::unique_ptr<Room> mount_room() {
  return std::make_unique<MountRoom>(false);
}

std::unique_ptr<Room> user_room() {
  return std::make_unique<MountRoom>(true);
}

}  // namespace vcard
