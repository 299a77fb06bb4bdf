#include "device/bar_map.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/report.h"
#include "common/unique_fd.h"
#include "device/function.h"
#include "device/sysfs.h"

namespace {

// The word in brackets is in force: "none [integrity] confidentiality". False when nothing is locked or nobody says so.
bool lockdown_get(char (&level)[32]) {
  const std::string text = kxtools_file_line("/sys/kernel/security/lockdown");
  const char* start = strchr(text.c_str(), '[');
  return start != nullptr && sscanf(start, "[%31[a-z]]", level) == 1 && strcmp(level, "none") != 0;
}

// Why, and what helps; "" when the errno says all there is to say.
void reason_get(const char* sbdf_text, int error, char (&reason)[256]) {
  char driver[64] = {};
  char level[32] = {};
  reason[0] = '\0';
  if (error == EPERM && lockdown_get(level)) {
    snprintf(reason, sizeof reason, ": the kernel is locked down (%s); boot without Secure Boot or with lockdown=none",
             level);
  } else if ((error == EACCES || error == EPERM) && geteuid() != 0) {
    snprintf(reason, sizeof reason, ": run as root");
  } else if (error == EINVAL && kxtools_dev_driver_get(sbdf_text, driver)) {
    snprintf(reason, sizeof reason, ": claimed by driver %s; boot with iomem=relaxed or unbind the driver", driver);
  }
}

}  // namespace

kxtools_bar_mapping kxtools_bar_map(const char* path, uint64_t bar_address, uint64_t start, uint64_t length,
                                    bool write) {
  const kx_unique_fd fd(open(path, (write ? O_RDWR : O_RDONLY) | O_CLOEXEC));
  struct stat info = {};
  if (!fd || fstat(fd.get(), &info) != 0) {
    return {kxtools_bar_step::open, errno, nullptr};
  }
  // Touching a mapping beyond the end of its file is a signal: a file shorter than its BAR is refused here.
  if (static_cast<uint64_t>(info.st_size) < start + length) {
    return {kxtools_bar_step::length, 0, nullptr};
  }
  // The kernel maps whole pages, the first of them from where the page of the BAR's start begins.
  const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const uint64_t first = bar_address % page + start;
  const uint64_t in_page = first % page;
  void* data = mmap(nullptr, in_page + length, write ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, fd.get(),
                    static_cast<off_t>(first - in_page));
  if (data == MAP_FAILED || data == nullptr) {
    return {kxtools_bar_step::map, errno, nullptr};
  }
  return {kxtools_bar_step::mapped, 0, static_cast<volatile uint8_t*>(data) + in_page};
}

bool kxtools_bar_is_kept(const char* sbdf_text, const kxtools_bar_mapping& refused) {
  char driver[64] = {};
  char level[32] = {};
  return refused.step == kxtools_bar_step::map &&
         ((refused.error == EINVAL && kxtools_dev_driver_get(sbdf_text, driver)) ||
          (refused.error == EPERM && lockdown_get(level)));
}

void kxtools_bar_kept_tell(const char* sbdf_text, const kxtools_bar_mapping& refused) {
  char reason[256];
  reason_get(sbdf_text, refused.error, reason);
  kx_error_print("kxtool: BAR 0 of %s is not mapped: %s%s\n", sbdf_text, strerror(refused.error), reason);
  kx_error_print("kxtool: the firmware's compatibility record is not checked; the driver answers all the same\n");
}

void kxtools_bar_refusal_tell(const char* sbdf_text, const char* path, int error) {
  char reason[256];
  reason_get(sbdf_text, error, reason);
  kx_error_print("kxtool: %s: %s%s\n", path, strerror(error), reason);
}
