#include "fw_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "build_id/build_id.h"
#include "common/report.h"
#include "common/shared_file.h"
#include "common/status_line.h"

namespace {

constexpr const char* KXTS_PATH = "/var/log/kxtool";
constexpr const char* NAME = "kxtool_fw_upd.log";
constexpr mode_t FOLDER_MODE = 01777;
constexpr mode_t FILE_MODE = 0644;
constexpr size_t LINE_SIZE = 1024;  // longer lines are cut

// Both threads write. It is never closed: a notice may come, and write, until the process ends.
constinit std::mutex log_mutex;
int log_fd = -1;

void report_failure(const kx_shared_file& file) {
  switch (file.step) {
    case kx_shared_file_step::stat_folder:
      KXTOOLS_ERR("stat failed errno%d\n", file.error);
      break;
    case kx_shared_file_step::make_folder:
      KXTOOLS_ERR("mkdir failed KXTS_PATH %s: errno%d\n", KXTS_PATH, file.error);
      break;
    case kx_shared_file_step::chmod_folder:
      KXTOOLS_ERR("chmod failed: %d\n", file.error);
      break;
    default:
      KXTOOLS_ERR("Cannot open file %s/%s.\n", KXTS_PATH, NAME);
      break;
  }
}

}  // namespace

void fw_log_open() {
  kx_shared_file file = kx_shared_file_open(KXTS_PATH, NAME, O_WRONLY | O_CREAT | O_APPEND, FOLDER_MODE, FILE_MODE);
  if (!file.fd) {
    report_failure(file);
  }
  {
    const std::lock_guard lock(log_mutex);
    log_fd = file.fd.release();
  }
  FW_INFO("compile time: %s %s\n", KX_BUILD_DATE, KX_BUILD_TIME);
  FW_INFO("compile host: %s\n", KX_BUILD_HOST);
}

void fw_log_line(const char* kind, const char* function, int line, const char* format, ...) {
  char text[LINE_SIZE];
  const time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  size_t length = strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S ", &local);
  length += static_cast<size_t>(snprintf(text + length, sizeof text - length, "%s %s %d ", kind, function, line));
  va_list args;
  va_start(args, format);
  const int rest = vsnprintf(text + length, sizeof text - length, format, args);
  va_end(args);
  if (rest > 0) {
    length = std::min(length + static_cast<size_t>(rest), sizeof text - 1);
  }
  text[length - 1] = '\n';  // also when the line was cut
  const std::lock_guard lock(log_mutex);
  const bool open = log_fd >= 0;
  if (!open) {
    kx_status_clear();
  }
  if (write(open ? log_fd : STDERR_FILENO, text, length) != static_cast<ssize_t>(length) && open) {
    kx_print("fprintf err\n");
  }
}
