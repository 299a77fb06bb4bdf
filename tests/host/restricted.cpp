// Runs a command as on a machine that allows less:
//
//   restricted WORD... -- COMMAND [ARG...]
//
//   no-capability   root without CAP_SYS_ADMIN
//   no-namespaces   unshare, mount, setns and clone with name spaces are refused, as containers have it by default
//   no-notify       the kernel knows no user notification of system calls
//   no-filter       no seccomp filter at all
//   no-sys          a root folder without /sys
//   chroot          a root folder that is no mount point
//   no-reaper       a first process that waits for no child
//   small           64 processes, no HOME, no language, no terminal
//
// Exit status 77 when this machine does not allow what a word needs, else the command's.

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int not_possible = 77;

[[noreturn]] void give_up(const char* what) {
  fprintf(stderr, "restricted: %s: %s\n", what, strerror(errno));
  _exit(not_possible);
}

void check(bool good, const char* what) {
  if (!good) {
    give_up(what);
  }
}

void filter_add(std::vector<sock_filter> code) {
  code.insert(code.begin(), BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)));
  code.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const struct sock_fprog program = {static_cast<unsigned short>(code.size()), code.data()};
  check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "no new privileges");
  check(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0, "seccomp");
}

/// The call is refused; with `bits` only when its argument has one of them.
std::vector<sock_filter> refusal(long number, int error, size_t argument = 0, uint32_t bits = 0) {
  const sock_filter result = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<uint32_t>(error));
  if (bits == 0) {
    return {BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(number), 0, 1), result};
  }
  const auto offset = static_cast<uint32_t>(offsetof(struct seccomp_data, args) + argument * sizeof(uint64_t));
  return {BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(number), 0, 4),
          BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset), BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, bits, 0, 1), result,
          BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr))};
}

void no_capability() {
  if (prctl(PR_CAPBSET_READ, CAP_SYS_ADMIN) == 1) {
    check(prctl(PR_CAPBSET_DROP, CAP_SYS_ADMIN) == 0, "drop CAP_SYS_ADMIN");
  }
}

void no_namespaces() {
  std::vector<sock_filter> code = refusal(SYS_clone3, ENOSYS);
  constexpr uint32_t namespaces =
      CLONE_NEWNS | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWIPC | CLONE_NEWUTS;
  for (const auto& part : {refusal(SYS_unshare, EPERM), refusal(SYS_mount, EPERM), refusal(SYS_umount2, EPERM),
                           refusal(SYS_setns, EPERM), refusal(SYS_clone, EPERM, 0, namespaces)}) {
    code.insert(code.end(), part.begin(), part.end());
  }
  filter_add(code);
}

/// A root folder in memory, at the mount point itself or below it, with everything of the host but `left_out`.
void root_change(const std::string& below, const std::string& left_out) {
  check(unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mounts");
  const std::string point = "/mnt";
  check(mount("none", point.c_str(), "tmpfs", 0, "mode=0755") == 0, "root folder");
  const std::string root = point + below;
  mkdir(root.c_str(), 0755);
  for (const auto& entry : std::filesystem::directory_iterator("/")) {
    const std::string target = root + entry.path().string();
    if (entry.is_symlink()) {
      std::filesystem::copy_symlink(entry.path(), target);
    } else if (entry.is_directory() && entry.path() != left_out && entry.path() != point) {
      check(mkdir(target.c_str(), 0755) == 0, target.c_str());
      check(mount(entry.path().c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0, target.c_str());
    }
  }
  const std::string here = std::filesystem::current_path();
  check(chroot(root.c_str()) == 0 && chdir(here.c_str()) == 0, "chroot");
}

/// Goes on as the second process of a process namespace, whose first one only sleeps.
void no_reaper() {
  check(unshare(CLONE_NEWPID | CLONE_NEWNS) == 0, "process namespace");
  const pid_t first = fork();
  if (first != 0) {
    int status = 0;
    waitpid(first, &status, 0);
    _exit(WEXITSTATUS(status));
  }
  check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
            mount("proc", "/proc", "proc", 0, nullptr) == 0,
        "/proc");
  const pid_t second = fork();
  if (second != 0) {
    siginfo_t info = {};
    waitid(P_PID, static_cast<id_t>(second), &info, WEXITED);
    _exit(info.si_status);
  }
}

void small() {
  const struct rlimit limit = {64, 64};
  check(setrlimit(RLIMIT_NPROC, &limit) == 0, "limit of processes");
  for (const char* name : {"HOME", "LANG", "LC_ALL", "USER", "TERM"}) {
    unsetenv(name);
  }
  setsid();
}

constexpr struct {
  const char* word;
  void (*apply)();
} restrictions[] = {
    // In the order in which they can be applied.
    {"no-reaper", no_reaper},
    {"no-sys", [] { root_change("", "/sys"); }},
    {"chroot", [] { root_change("/root", ""); }},
    {"small", small},
    {"no-capability", no_capability},
    {"no-notify", [] { filter_add(refusal(SYS_seccomp, EINVAL, 1, SECCOMP_FILTER_FLAG_NEW_LISTENER)); }},
    {"no-namespaces", no_namespaces},
    {"no-filter", [] { filter_add(refusal(SYS_seccomp, ENOSYS)); }},
};

}  // namespace

int main(int count, char** words) {
  int command = 1;
  while (command < count && strcmp(words[command], "--") != 0) {
    ++command;
  }
  if (command + 1 >= count) {
    fputs("usage: restricted WORD... -- COMMAND [ARG...]\n", stderr);
    return 2;
  }
  for (const auto& restriction : restrictions) {
    for (int i = 1; i < command; ++i) {
      if (strcmp(words[i], restriction.word) == 0) {
        restriction.apply();
      }
    }
  }
  execvp(words[command + 1], words + command + 1);
  give_up(words[command + 1]);
}
