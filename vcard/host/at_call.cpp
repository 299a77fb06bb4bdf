#include "at_call.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/syscall.h>

#include <cerrno>

namespace vcard {

namespace {

constexpr uint64_t current = static_cast<uint64_t>(AT_FDCWD);

constexpr long path_calls[] = {
#if defined(__x86_64__)
    __NR_open,        __NR_creat,        __NR_stat,      __NR_lstat,     __NR_access,    __NR_readlink,
    __NR_mkdir,       __NR_mknod,        __NR_rmdir,     __NR_unlink,    __NR_chmod,     __NR_chown,
    __NR_lchown,      __NR_rename,       __NR_link,      __NR_symlink,   __NR_utime,     __NR_utimes,
    __NR_futimesat,
#endif
    __NR_openat,      __NR_newfstatat,   __NR_statx,     __NR_statfs,    __NR_faccessat, __NR_faccessat2,
    __NR_readlinkat,  __NR_mkdirat,      __NR_mknodat,   __NR_unlinkat,  __NR_fchmodat,  fchmodat2_call,
    __NR_fchownat,    __NR_renameat,     __NR_renameat2, __NR_linkat,    __NR_symlinkat, __NR_truncate,
    __NR_utimensat,   __NR_chdir,        __NR_getcwd,    __NR_execve,    __NR_execveat,  __NR_inotify_add_watch,
    __NR_getxattr,    __NR_lgetxattr,    __NR_setxattr,  __NR_lsetxattr, __NR_listxattr, __NR_llistxattr,
    __NR_removexattr, __NR_lremovexattr,
};

struct RefusedCall {
  long number;
  int error;
};

/// clone3 has its flags in memory, where no filter looks: programs that are told there is none take clone.
constexpr RefusedCall refused_calls[] = {
#if defined(__x86_64__)
    {__NR_uselib, ENOSYS},
    {__NR_iopl, EPERM},
    {__NR_ioperm, EPERM},
#endif
    {__NR_openat2, ENOSYS},
    {__NR_clone3, ENOSYS},
    {__NR_io_uring_setup, ENOSYS},
    {__NR_name_to_handle_at, ENOSYS},
    {__NR_open_by_handle_at, EPERM},
    {__NR_mount, EPERM},
    {__NR_umount2, EPERM},
    {__NR_pivot_root, EPERM},
    {__NR_chroot, EPERM},
    {__NR_setns, EPERM},
    {__NR_open_tree, EPERM},
    {__NR_move_mount, EPERM},
    {__NR_fsopen, EPERM},
    {__NR_fspick, EPERM},
    {__NR_mount_setattr, EPERM},
    {__NR_fanotify_init, EPERM},
    {__NR_swapon, EPERM},
    {__NR_acct, EPERM},
    {__NR_quotactl, EPERM},
};

constexpr uint32_t refused_namespaces[] = {CLONE_NEWNS, CLONE_NEWUSER};

}  // namespace

AtCall at_call(const TrappedCall& call) {
  const auto a = [&](size_t index) { return call.argument(index); };
  switch (call.number()) {
#if defined(__x86_64__)
    case __NR_open:
      return {__NR_openat, {current, a(0), a(1), a(2)}};
    case __NR_creat:
      return {__NR_openat, {current, a(0), O_CREAT | O_WRONLY | O_TRUNC, a(1)}};
    case __NR_stat:
      return {__NR_newfstatat, {current, a(0), a(1), 0}};
    case __NR_lstat:
      return {__NR_newfstatat, {current, a(0), a(1), AT_SYMLINK_NOFOLLOW}};
    case __NR_access:
      return {__NR_faccessat, {current, a(0), a(1)}};
    case __NR_readlink:
      return {__NR_readlinkat, {current, a(0), a(1), a(2)}};
    case __NR_mkdir:
      return {__NR_mkdirat, {current, a(0), a(1)}};
    case __NR_mknod:
      return {__NR_mknodat, {current, a(0), a(1), a(2)}};
    case __NR_rmdir:
      return {__NR_unlinkat, {current, a(0), AT_REMOVEDIR}};
    case __NR_unlink:
      return {__NR_unlinkat, {current, a(0), 0}};
    case __NR_chmod:
      return {__NR_fchmodat, {current, a(0), a(1)}};
    case __NR_chown:
      return {__NR_fchownat, {current, a(0), a(1), a(2), 0}};
    case __NR_lchown:
      return {__NR_fchownat, {current, a(0), a(1), a(2), AT_SYMLINK_NOFOLLOW}};
    case __NR_rename:
      return {__NR_renameat2, {current, a(0), current, a(1), 0}};
    case __NR_link:
      return {__NR_linkat, {current, a(0), current, a(1), 0}};
    case __NR_symlink:
      return {__NR_symlinkat, {current, a(1), a(0)}};
#endif
    case __NR_symlinkat:
      return {__NR_symlinkat, {a(1), a(2), a(0)}};
    case __NR_renameat:
      return {__NR_renameat2, {a(0), a(1), a(2), a(3), 0}};
    case __NR_inotify_add_watch:
      return {call.number(), {current, a(1)}};
    case __NR_openat:
    case __NR_newfstatat:
    case __NR_statx:
    case __NR_faccessat:
    case __NR_faccessat2:
    case __NR_readlinkat:
    case __NR_mkdirat:
    case __NR_mknodat:
    case __NR_unlinkat:
    case __NR_fchmodat:
    case fchmodat2_call:
    case __NR_fchownat:
    case __NR_renameat2:
    case __NR_linkat:
    case __NR_utimensat:
    case __NR_execveat:
#if defined(__x86_64__)
    case __NR_futimesat:
#endif
      return {call.number(), {a(0), a(1), a(2), a(3), a(4), a(5)}};
    default:  // of the current folder alone
      return {call.number(), {current, a(0), a(1), a(2), a(3), a(4)}};
  }
}

bool AtCall::follows() const {
  const auto unless = [&](size_t index, uint64_t flag) { return (arguments[index] & flag) == 0; };
  switch (form) {
    case __NR_openat:
      // An exclusive creation does not follow a link either.
      return unless(2, O_NOFOLLOW) && (arguments[2] & (O_CREAT | O_EXCL)) != (O_CREAT | O_EXCL);
    case __NR_statx:
      return unless(2, AT_SYMLINK_NOFOLLOW);
    case __NR_newfstatat:
    case __NR_faccessat2:
    case fchmodat2_call:
    case __NR_utimensat:
      return unless(3, AT_SYMLINK_NOFOLLOW);
    case __NR_fchownat:
    case __NR_execveat:
      return unless(4, AT_SYMLINK_NOFOLLOW);
    case __NR_linkat:
      return !unless(4, AT_SYMLINK_FOLLOW);
    case __NR_readlinkat:
    case __NR_mkdirat:
    case __NR_mknodat:
    case __NR_unlinkat:
    case __NR_renameat2:
    case __NR_symlinkat:
    case __NR_lgetxattr:
    case __NR_lsetxattr:
    case __NR_llistxattr:
    case __NR_lremovexattr:
      return false;
    default:
      return true;
  }
}

CallRules path_rules() {
  CallRules rules = wire_rules();
  rules.closed = true;
  for (const long number : path_calls) {
    rules.rules.push_back({number});
  }
  for (const RefusedCall& call : refused_calls) {
    rules.rules.push_back({call.number, call.error});
  }
  for (const uint32_t kind : refused_namespaces) {
    rules.rules.push_back({__NR_clone, EPERM, {{{0, kind, kind}}}});
    rules.rules.push_back({__NR_unshare, EPERM, {{{0, kind, kind}}}});
  }
  return rules;
}

}  // namespace vcard
