#include "host/sandbox.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/status.h"
#include "host/unique_fd.h"

namespace vcard {

namespace {

bool file_write(const char* path, const std::string& text) {
  UniqueFd file(open(path, O_WRONLY | O_CLOEXEC));
  return file && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

/// Every id stays what it is outside; only the right to mount is gained.
int user_namespace_enter() {
  std::string uid = std::to_string(geteuid());
  std::string gid = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER) != 0) {
    return host_error(exit_not_supported, "the host does not allow user namespaces (%s): run as root or allow them",
                      strerror(errno));
  }
  file_write("/proc/self/setgroups", "deny");
  if (!file_write("/proc/self/uid_map", uid + " " + uid + " 1") ||
      !file_write("/proc/self/gid_map", gid + " " + gid + " 1")) {
    return host_error(exit_not_supported, "the host does not allow ids in user namespaces (%s): run as root",
                      strerror(errno));
  }
  return 0;
}

int memory_mount(const char* target) {
  if (mount("kxvcard", target, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0777") != 0) {
    return host_error(exit_not_supported, "cannot mount a folder in memory over %s: %s", target, strerror(errno));
  }
  return 0;
}

int state_mount(const std::string& source, const char* target) {
  if (mount(source.c_str(), target, nullptr, MS_BIND, nullptr) != 0) {
    return host_error(exit_not_supported, "cannot mount %s over %s: %s", source.c_str(), target, strerror(errno));
  }
  return 0;
}

int folder_make(const std::string& path) {
  if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
    return host_error(exit_failure, "cannot make the folder %s: %s", path.c_str(), strerror(errno));
  }
  return 0;
}

int state_enter(const std::string& state) {
  for (const char* name : {"", "/tmp", "/tmp/kxtool", "/tmp/kx_pcie", "/log"}) {
    if (int status = folder_make(state + name); status != 0) {
      return status;
    }
  }
  if (int status = state_mount(state + "/tmp/kxtool", run_lock_folder); status != 0) {
    return status;
  }
  if (int status = state_mount(state + "/tmp/kx_pcie", pcie_lock_folder); status != 0) {
    return status;
  }
  return state_mount(state + "/log", log_folder);
}

int private_folders_mount() {
  for (const char* target : {run_lock_folder, pcie_lock_folder, log_folder}) {
    if (int status = memory_mount(target); status != 0) {
      return status;
    }
  }
  return 0;
}

}  // namespace

int sandbox_enter(const std::string& state) {
  if (geteuid() != 0) {
    if (int status = user_namespace_enter(); status != 0) {
      return status;
    }
  }
  if (unshare(CLONE_NEWNS) != 0) {
    return host_error(exit_not_supported, "the host does not allow mount namespaces: %s", strerror(errno));
  }
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    return host_error(exit_not_supported, "cannot make mounts private: %s", strerror(errno));
  }
  for (const char* target : {pci_bus_folder, net_class_folder}) {
    if (int status = memory_mount(target); status != 0) {
      return status;
    }
  }
  return state.empty() ? private_folders_mount() : state_enter(state);
}

}  // namespace vcard
