#include "path_calls.h"

#include <fcntl.h>
#include <linux/stat.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>

namespace vcard {

namespace {

constexpr mode_t mode_bits = 07777;

mode_t umask_of(pid_t thread) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/status", thread);
  FILE* file = fopen(path, "re");
  unsigned mask = 022;
  char line[256];
  while (file != nullptr && fgets(line, sizeof line, file) != nullptr && sscanf(line, "Umask: %o", &mask) != 1) {
  }
  if (file != nullptr) {
    fclose(file);
  }
  return mask;
}

template <typename... Arguments>
int64_t make(long number, Arguments... arguments) {
  const long result = syscall(number, arguments...);
  return result < 0 ? -errno : result;
}

/// Ends the call with `size` bytes in the caller's buffer, or with the error that `result` is.
void buffer_give(TrappedCall& call, uint64_t address, ByteView bytes, int64_t result) {
  call.finish(result >= 0 && !call.write({{address, bytes}}) ? -EFAULT : result);
}

template <typename T>
ByteView bytes_of(const T& object) {
  return {reinterpret_cast<const uint8_t*>(&object), sizeof object};
}

void file_open(TrappedCall& call, const AtCall& at, const std::string& path) {
  int flags = static_cast<int>(at.arguments[2]);
  mode_t mode = static_cast<mode_t>(at.arguments[3]) & mode_bits;
  struct stat info = {};
  if (lstat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode)) {
    flags |= O_NONBLOCK;  // nobody waits here for the other side of a pipe
  }
  if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
    mode &= ~umask_of(call.thread());
  }
  call.finish_with_file(path, flags, mode);
}

void link_read(TrappedCall& call, const AtCall& at, const std::string& path) {
  std::array<uint8_t, PATH_MAX> text;
  const int64_t room = static_cast<int>(at.arguments[3]);
  const int64_t length =
      room <= 0 ? -EINVAL
                : make(__NR_readlinkat, AT_FDCWD, path.c_str(), text.data(), std::min<int64_t>(room, std::ssize(text)));
  buffer_give(call, at.arguments[2], ByteView(text).first(static_cast<size_t>(std::max<int64_t>(length, 0))), length);
}

void times_set(TrappedCall& call, const AtCall& at, const std::string& path) {
  std::array<struct timespec, 2> times = {};
  const bool given = at.arguments[2] != 0;
  if (given && !call.read(at.arguments[2], times.data(), sizeof times)) {
    call.fail(EFAULT);
    return;
  }
  call.finish(make(__NR_utimensat, AT_FDCWD, path.c_str(), given ? times.data() : nullptr, AT_SYMLINK_NOFOLLOW));
}

}  // namespace

void PathCalls::handle(TrappedCall& call) const {
  if (call.number() == __NR_getcwd) {
    current_folder_give(call);
    return;
  }
  const AtCall at = at_call(call);
  Place place;
  if (!place_of(call, at.arguments[0], at.arguments[1], at.follows(), place)) {
    return;
  }
  if (at.form == __NR_renameat2 || at.form == __NR_linkat) {
    two_paths_handle(call, at, place);
  } else if (place.kind == Place::Kind::host) {
    call.pass_on();
  } else {
    card_handle(call, at, place.path);
  }
}

/// Where a path of the caller leads. False when the call is ended: the path is refused, or is none.
bool PathCalls::place_of(TrappedCall& call, uint64_t folder, uint64_t path, bool follows, Place& place) const {
  std::string text;
  if (path == 0) {
    call.pass_on();  // means the descriptor, or is a fault
    return false;
  }
  if (const int error = call.read_text(path, PATH_MAX, text); error != 0) {
    call.fail(error);
    return false;
  }
  if (text.empty()) {
    call.pass_on();  // means the descriptor, or nothing
    return false;
  }
  place = resolver_.resolve(call, static_cast<int>(folder), text, follows);
  if (place.kind == Place::Kind::refused) {
    call.fail(place.error);
    return false;
  }
  return true;
}

void PathCalls::two_paths_handle(TrappedCall& call, const AtCall& at, const Place& first) const {
  Place second;
  if (!place_of(call, at.arguments[2], at.arguments[3], false, second)) {
    return;
  }
  if (first.kind == Place::Kind::host && second.kind == Place::Kind::host) {
    call.pass_on();
    return;
  }
  const uint64_t flags = at.form == __NR_linkat ? 0 : at.arguments[4];
  call.finish(make(at.form, AT_FDCWD, first.path.c_str(), AT_FDCWD, second.path.c_str(), flags));
}

void PathCalls::card_handle(TrappedCall& call, const AtCall& at, const std::string& path) const {
  const auto& a = at.arguments;
  const char* name = path.c_str();
  switch (at.form) {
    case __NR_openat:
      file_open(call, at, path);
      break;
    case __NR_chdir:
      call.finish_in_folder(path);
      break;
    case __NR_newfstatat: {
      struct stat info = {};
      buffer_give(call, a[2], bytes_of(info), make(__NR_newfstatat, AT_FDCWD, name, &info, AT_SYMLINK_NOFOLLOW));
      break;
    }
    case __NR_statx: {
      struct statx info = {};
      const uint64_t flags = a[2] | AT_SYMLINK_NOFOLLOW;
      buffer_give(call, a[4], bytes_of(info), make(__NR_statx, AT_FDCWD, name, flags, a[3], &info));
      break;
    }
    case __NR_statfs: {
      struct statfs info = {};
      buffer_give(call, a[2], bytes_of(info), make(__NR_statfs, name, &info));
      break;
    }
    case __NR_readlinkat:
      link_read(call, at, path);
      break;
    case __NR_symlinkat: {
      std::string text;
      const int error = call.read_text(a[2], PATH_MAX, text);
      call.finish(error != 0 ? -error : make(__NR_symlinkat, text.c_str(), AT_FDCWD, name));
      break;
    }
    case __NR_mkdirat:
    case __NR_mknodat:
      call.finish(make(at.form, AT_FDCWD, name, a[2] & ~static_cast<uint64_t>(umask_of(call.thread())), a[3]));
      break;
    case __NR_faccessat:
    case __NR_faccessat2:
    case __NR_unlinkat:
    case __NR_fchmodat:
    case fchmodat2_call:
    case __NR_fchownat:
      call.finish(make(at.form, AT_FDCWD, name, a[2], a[3], a[4]));
      break;
    case __NR_truncate:
      call.finish(make(__NR_truncate, name, a[2]));
      break;
    case __NR_utimensat:
      times_set(call, at, path);
      break;
    case __NR_execve:
    case __NR_execveat:
    case __NR_inotify_add_watch:
      call.fail(EACCES);
      break;
    default:
      call.fail(EOPNOTSUPP);  // extended attributes and the like
  }
}

void PathCalls::current_folder_give(TrappedCall& call) const {
  char target[PATH_MAX];
  const std::string link = "/proc/" + std::to_string(call.thread()) + "/cwd";
  const ssize_t length = readlink(link.c_str(), target, sizeof target);
  const std::string kept(target, static_cast<size_t>(std::max<ssize_t>(length, 0)));
  const std::string shown = resolver_.shown(kept);
  if (shown == kept) {
    call.pass_on();
  } else if (shown.size() + 1 > call.argument(1)) {
    call.fail(ERANGE);
  } else {
    const ByteView bytes(reinterpret_cast<const uint8_t*>(shown.c_str()), shown.size() + 1);
    buffer_give(call, call.argument(0), bytes, std::ssize(bytes));
  }
}

}  // namespace vcard
