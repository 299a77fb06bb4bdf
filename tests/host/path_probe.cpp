// Makes every system call that names a path, in all its forms, on files of the card, and prints what came of each: one
// line a call, free of numbers that differ from run to run.
#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

constexpr const char* function = "/sys/bus/pci/devices/0000:3b:00.0";
constexpr const char* vendor = "/sys/bus/pci/devices/0000:3b:00.0/vendor";
constexpr const char* missing = "/sys/bus/pci/devices/0000:ff:00.0/vendor";
constexpr const char* locks = "/tmp/kxtool";

template <typename... Arguments>
long make(const char* name, long number, Arguments... arguments) {
  errno = 0;
  const long result = syscall(number, arguments...);
  printf("%s: %s", name, result < 0 ? strerrorname_np(errno) : "done");
  return result;
}

void line() {
  putchar('\n');
}

/// Prints what stands in a descriptor, and closes it.
void content(long fd) {
  char text[64] = "";
  const ssize_t length = fd < 0 ? -1 : read(static_cast<int>(fd), text, sizeof text - 1);
  printf(" %.*s\n", length > 0 ? static_cast<int>(strcspn(text, "\n")) : 0, text);
  if (fd >= 0) {
    close(static_cast<int>(fd));
  }
}

void opens(int folder) {
  content(make("openat", SYS_openat, AT_FDCWD, vendor, O_RDONLY, 0));
  content(make("openat below", SYS_openat, folder, "0000:3b:00.0/vendor", O_RDONLY, 0));
  content(make("openat up", SYS_openat, folder, "../devices/./0000:3b:00.1/../0000:3b:00.0/vendor", O_RDONLY, 0));
  content(make("openat link", SYS_openat, AT_FDCWD, "/sys/class/net/eth0/device/vendor", O_RDONLY, 0));
  content(make("openat nofollow", SYS_openat, AT_FDCWD, "/sys/class/net/eth0/device", O_RDONLY | O_NOFOLLOW, 0));
  content(make("openat missing", SYS_openat, AT_FDCWD, missing, O_RDONLY, 0));
  content(make("openat beyond", SYS_openat, AT_FDCWD, (std::string(vendor) + "/x").c_str(), O_RDONLY, 0));
  content(make("openat slash", SYS_openat, AT_FDCWD, (std::string(vendor) + "/").c_str(), O_RDONLY, 0));
  content(make("openat folder", SYS_openat, AT_FDCWD, vendor, O_RDONLY | O_DIRECTORY, 0));
  content(make("openat no address", SYS_openat, AT_FDCWD, 8, O_RDONLY, 0));
  content(make("openat empty", SYS_openat, AT_FDCWD, "", O_RDONLY, 0));
  content(make("openat no folder", SYS_openat, 999, "vendor", O_RDONLY, 0));
  content(make("openat long", SYS_openat, AT_FDCWD, std::string(PATH_MAX + 5, 'a').c_str(), O_RDONLY, 0));
#if defined(__x86_64__)
  content(make("open", SYS_open, vendor, O_RDONLY));
#endif
  const long bar =
      make("bar", SYS_openat, AT_FDCWD, (std::string(function) + "/resource0").c_str(), O_RDWR | O_CLOEXEC);
  void* mapped = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(bar), 0);
  printf(" mapped=%d flags=%d\n", mapped != MAP_FAILED, fcntl(static_cast<int>(bar), F_GETFD));
  close(static_cast<int>(bar));
  std::thread([] { content(make("openat in a thread", SYS_openat, AT_FDCWD, vendor, O_RDONLY, 0)); }).join();
}

void looks(int folder) {
  struct stat info = {};
  const auto shown = [&] {
    printf(" mode=%o size=%ld\n", info.st_mode, S_ISREG(info.st_mode) ? static_cast<long>(info.st_size) : 0);
  };
  make("newfstatat", SYS_newfstatat, AT_FDCWD, vendor, &info, 0), shown();
  make("newfstatat link", SYS_newfstatat, AT_FDCWD, "/sys/class/net/eth0/device", &info, AT_SYMLINK_NOFOLLOW);
  printf(" link=%d\n", S_ISLNK(info.st_mode));
  make("newfstatat followed", SYS_newfstatat, AT_FDCWD, "/sys/class/net/eth0/device", &info, 0);
  printf(" folder=%d\n", S_ISDIR(info.st_mode));
  make("newfstatat itself", SYS_newfstatat, folder, "", &info, AT_EMPTY_PATH),
      printf(" folder=%d\n", S_ISDIR(info.st_mode));
  make("newfstatat bad buffer", SYS_newfstatat, AT_FDCWD, vendor, 8, 0), line();
#if defined(__x86_64__)
  make("stat", SYS_stat, vendor, &info), shown();
  make("lstat", SYS_lstat, vendor, &info), shown();
  make("stat missing", SYS_stat, missing, &info), line();
  make("access", SYS_access, vendor, R_OK), line();
#endif
  struct statx more = {};
  make("statx", SYS_statx, folder, "0000:3b:00.0/vendor", 0, STATX_BASIC_STATS, &more),
      printf(" mode=%o\n", more.stx_mode);
  struct statfs system = {};
  make("statfs", SYS_statfs, vendor, &system), line();
  make("faccessat", SYS_faccessat, folder, "0000:3b:00.0", R_OK | X_OK), line();
  make("faccessat missing", SYS_faccessat, AT_FDCWD, missing, F_OK), line();
  make("faccessat2", SYS_faccessat2, AT_FDCWD, vendor, R_OK, 0), line();
  char text[PATH_MAX] = "";
  for (const char* link : {"/sys/class/net/eth0/device", "/sys/bus/pci/devices/0000:3b:00.0/driver", vendor, missing}) {
    const long length = make("readlinkat", SYS_readlinkat, AT_FDCWD, link, text, sizeof text);
    printf(" %.*s\n", length > 0 ? static_cast<int>(length) : 0, text);
  }
  const long cut = make("readlinkat cut", SYS_readlinkat, AT_FDCWD, "/sys/class/net/eth0/device", text, 4);
  printf(" %.*s\n", cut > 0 ? static_cast<int>(cut) : 0, text);
  make("readlinkat nothing", SYS_readlinkat, AT_FDCWD, "/sys/class/net/eth0/device", text, 0), line();
  int count = 0;
  DIR* list = opendir("/sys/bus/pci/devices");
  while (list != nullptr && readdir(list) != nullptr) {
    ++count;
  }
  if (list != nullptr) {
    closedir(list);
  }
  printf("opendir: %d\n", count);
  printf("realpath: %s\n", realpath("/sys/class/net/eth0/device/../0000:3b:00.1/vendor", text));
}

void changes() {
  umask(027);
  const int folder = open(locks, O_RDONLY | O_DIRECTORY);
  struct stat info = {};
  const auto mode = [&](const char* name) {
    printf(" mode=%o\n", fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0 ? info.st_mode : 0);
  };
  content(make("create", SYS_openat, folder, "file", O_RDWR | O_CREAT | O_EXCL, 0666)), mode("file");
  content(make("create again", SYS_openat, folder, "file", O_RDWR | O_CREAT | O_EXCL, 0666));
  make("mkdirat", SYS_mkdirat, folder, "folder", 0777), mode("folder");
  make("mkdirat again", SYS_mkdirat, AT_FDCWD, "/tmp/kxtool/folder", 0777), line();
  make("symlinkat", SYS_symlinkat, "file", folder, "link"), mode("link");
  make("linkat", SYS_linkat, folder, "file", folder, "second", 0), line();
  make("linkat followed", SYS_linkat, folder, "link", folder, "third", AT_SYMLINK_FOLLOW), mode("third");
  make("fchmodat", SYS_fchmodat, folder, "link", 0601), mode("file");
  make("fchownat", SYS_fchownat, folder, "file", getuid(), getgid(), 0), line();
  make("truncate", SYS_truncate, "/tmp/kxtool/link", 5), mode("file");
  printf("size: %ld\n", static_cast<long>(info.st_size));
  make("utimensat", SYS_utimensat, folder, "file", nullptr, 0), line();
  const struct timespec times[2] = {{.tv_sec = 7, .tv_nsec = 0}, {.tv_sec = 9, .tv_nsec = 0}};
  make("utimensat times", SYS_utimensat, folder, "file", times, 0), mode("file");
  printf("time: %ld\n", static_cast<long>(info.st_mtime));
  make("renameat2", SYS_renameat2, folder, "second", AT_FDCWD, "/tmp/kxtool/folder/moved", 0), mode("folder/moved");
  make("renameat2 kept", SYS_renameat2, folder, "third", folder, "file", 1), line();
  make("unlinkat folder", SYS_unlinkat, folder, "folder", 0), line();
  make("unlinkat full", SYS_unlinkat, folder, "folder", AT_REMOVEDIR), line();
  make("unlinkat", SYS_unlinkat, folder, "folder/moved", 0), line();
  make("mknodat", SYS_mknodat, folder, "pipe", S_IFIFO | 0666, 0), mode("pipe");
#if defined(__x86_64__)
  make("mkdir", SYS_mkdir, "/tmp/kxtool/old", 0755), mode("old");
  make("chmod", SYS_chmod, "/tmp/kxtool/old", 0700), mode("old");
  make("chown", SYS_chown, "/tmp/kxtool/old", getuid(), getgid()), line();
  make("lchown", SYS_lchown, "/tmp/kxtool/link", getuid(), getgid()), line();
  make("rename", SYS_rename, "/tmp/kxtool/old", "/tmp/kxtool/new"), mode("new");
  make("rmdir", SYS_rmdir, "/tmp/kxtool/new"), mode("new");
  make("link", SYS_link, "/tmp/kxtool/file", "/tmp/kxtool/fourth"), line();
  make("symlink", SYS_symlink, "nowhere", "/tmp/kxtool/fifth"), line();
  content(make("creat through a link", SYS_creat, "/tmp/kxtool/fifth", 0640)), mode("nowhere");
  make("unlink", SYS_unlink, "/tmp/kxtool/fifth"), mode("fifth");
  const long length = make("readlink", SYS_readlink, "/tmp/kxtool/link", &info, sizeof info);
  printf(" %ld\n", length);
#endif
  close(folder);
}

void moves() {
  char text[PATH_MAX] = "";
  make("chdir", SYS_chdir, function), printf(" %s\n", getcwd(text, sizeof text));
  content(make("below", SYS_openat, AT_FDCWD, "../0000:3b:00.1/device", O_RDONLY, 0));
  make("chdir up", SYS_chdir, ".."), printf(" %s\n", getcwd(text, sizeof text));
  make("getcwd short", SYS_getcwd, text, 5), line();
  make("chdir file", SYS_chdir, vendor), line();
  make("chdir missing", SYS_chdir, missing), line();
  make("chdir host", SYS_chdir, "/"), printf(" %s\n", getcwd(text, sizeof text));
  const int folder = open(function, O_RDONLY | O_DIRECTORY);
  make("fchdir", SYS_fchdir, folder), printf(" %s\n", getcwd(text, sizeof text));
  close(folder);
}

}  // namespace

int main() {
  const int folder = open("/sys/bus/pci/devices", O_RDONLY | O_DIRECTORY);
  opens(folder);
  looks(folder);
  changes();
  moves();
}
