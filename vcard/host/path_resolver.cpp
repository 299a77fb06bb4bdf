#include "path_resolver.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>

namespace vcard {

namespace {

constexpr int most_links = 40;
// Devices that are no hardware: terminals, and the null and random devices among those of memory.
constexpr unsigned memory_major = 1;
constexpr unsigned memory_minors[] = {3, 5, 7, 8, 9};
constexpr unsigned terminal_majors[] = {4, 5, 136, 137, 138, 139, 140, 141, 142, 143};

constexpr const char* closed_paths[] = {"/proc/bus", "/proc/kcore", "/proc/ioports", "/proc/iomem"};

bool is_below(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string link_text(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t length = readlink(path.empty() ? "/" : path.c_str(), target, sizeof target);
  return length > 0 ? std::string(target, static_cast<size_t>(length)) : std::string();
}

bool is_harmless_device(dev_t device) {
  const auto is_one_of = [](const auto& list, unsigned value) {
    return std::find(std::begin(list), std::end(list), value) != std::end(list);
  };
  return major(device) == memory_major ? is_one_of(memory_minors, minor(device))
                                       : is_one_of(terminal_majors, major(device));
}

bool is_of_sysfs(const std::string& path) {
  struct statfs info = {};
  return statfs(path.c_str(), &info) == 0 && info.f_type == SYSFS_MAGIC;
}

/// These links tell everyone who reads them of himself.
std::string self_replace(std::string path, const TrappedCall& call) {
  if (path == "/proc/self" || path == "/proc/thread-self") {
    const std::string thread = path == "/proc/self" ? "" : "/task/" + std::to_string(call.thread());
    return "/proc/" + std::to_string(call.process()) + thread;
  }
  return path;
}

std::string parent_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

Place refused(int error) {
  return {Place::Kind::refused, "", error};
}

}  // namespace

struct PathResolver::Walk {
  std::string at;    // reached so far, without links; empty for the root folder
  std::string rest;  // still to go
  const TrappedCall& call;
  bool follow;
  int links = 0;
};

std::string PathResolver::kept(const std::string& shown) const {
  for (const ShownFolder& folder : folders_) {
    if (is_below(shown, folder.shown)) {
      return folder.kept + shown.substr(folder.shown.size());
    }
  }
  return shown;
}

bool PathResolver::is_shown(const std::string& path) const {
  return std::any_of(folders_.begin(), folders_.end(),
                     [&](const ShownFolder& folder) { return is_below(path, folder.shown); });
}

std::string PathResolver::shown(const std::string& kept) const {
  for (const ShownFolder& folder : folders_) {
    if (is_below(kept, folder.kept)) {
      return folder.shown + kept.substr(folder.kept.size());
    }
  }
  return kept;
}

/// Goes one component further. 0 or errno.
int PathResolver::component_enter(Walk& walk, std::string_view name) const {
  if (name.empty() || name == ".") {
    return 0;
  }
  if (name == "..") {
    walk.at.resize(walk.at.empty() ? 0 : walk.at.rfind('/'));
    return 0;
  }
  const std::string next = self_replace(walk.at + "/" + std::string(name), walk.call);
  if (walk.rest.empty() && !walk.follow) {
    walk.at = next;
    return 0;
  }
  errno = 0;
  std::string target = link_text(kept(next));
  // A descriptor's link need not be a path ("pipe:[123]"): only the kernel can follow that.
  if (target.empty() || (is_below(next, "/proc") && target[0] != '/')) {
    const bool is_missing = target.empty() && errno == ENOENT && !walk.rest.empty();
    walk.at = next;
    return is_missing ? ENOENT : 0;
  }
  if (++walk.links > most_links) {
    return ELOOP;
  }
  if (target[0] == '/') {
    target = is_below(next, "/proc") ? shown(target) : target;
    walk.at.clear();
  }
  walk.rest = walk.rest.empty() ? target : target + "/" + walk.rest;
  return 0;
}

Place PathResolver::resolve(const TrappedCall& call, int folder, std::string_view path, bool follow) const {
  // A path that ends in '/' names a folder: a link there is followed, and what is no folder is refused by the kernel.
  const bool names_folder = path.ends_with('/');
  Walk walk = {"", std::string(path), call, follow || names_folder, 0};
  if (!path.starts_with('/')) {
    const std::string own = "/proc/" + std::to_string(call.thread());
    const std::string base = link_text(folder == AT_FDCWD ? own + "/cwd" : own + "/fd/" + std::to_string(folder));
    if (!base.starts_with('/')) {
      return {Place::Kind::host, std::string(path), 0};  // no folder: the kernel says so
    }
    walk.at = base == "/" ? "" : shown(base);
  }
  while (!walk.rest.empty()) {
    const size_t slash = std::min(walk.rest.find('/'), walk.rest.size());
    const std::string name = walk.rest.substr(0, slash);
    walk.rest.erase(0, walk.rest.find_first_not_of('/', slash));
    if (const int error = component_enter(walk, name); error != 0) {
      return refused(error);
    }
  }
  if (is_shown(walk.at)) {
    return {Place::Kind::card, kept(walk.at) + (names_folder ? "/" : ""), 0};
  }
  return host_place(walk.at.empty() ? "/" : walk.at);
}

/// Closed by default: what could be hardware is refused, by whatever name and mount it is reached.
Place PathResolver::host_place(std::string path) const {
  for (const char* closed : closed_paths) {
    if (is_below(path, closed)) {
      return refused(EACCES);
    }
  }
  struct stat info = {};
  const bool exists = lstat(path.c_str(), &info) == 0;
  const bool is_device = exists && (S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode));
  if (is_device && (S_ISBLK(info.st_mode) || !is_harmless_device(info.st_rdev))) {
    return refused(EACCES);
  }
  if (is_of_sysfs(exists && !S_ISLNK(info.st_mode) ? path : parent_of(path))) {
    return refused(EACCES);
  }
  return {Place::Kind::host, std::move(path), 0};
}

}  // namespace vcard
