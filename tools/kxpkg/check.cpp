// What the update refuses, in the order in which it finds it.
#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "fwupdate/package_check.h"
#include "kxpkg.h"

namespace {

constexpr int STATUS_NOT_OPENED = 7;

void report(FILE* out, const char* name, int status, const char* text) {
  fprintf(out, "%s: %s (the update ends with status %d)\n", name, text, status);
}

}  // namespace

uint32_t kxpkg_check(const char* path, const char* name, FILE* out) {
  fw_package package;
  char text[256];
  switch (fw_package_open(path, &package)) {
    case fw_open_result::opened: {
      const std::vector<fw_problem> problems = fw_package_check(package);
      for (const fw_problem& problem : problems) {
        report(out, name, problem.status(), problem.text.c_str());
      }
      return static_cast<uint32_t>(problems.size());
    }
    case fw_open_result::no_file:
      snprintf(text, sizeof text, "cannot be opened: %s", strerror(errno));
      break;
    case fw_open_result::no_regular_file:
      snprintf(text, sizeof text, "is no regular file");
      break;
    case fw_open_result::too_large:
      snprintf(text, sizeof text, "is larger than the flash: %" PRIu64 " bytes, at most %" PRIu64, package.size,
               FW_PACKAGE_SIZE_MAX);
      break;
  }
  report(out, name, STATUS_NOT_OPENED, text);
  return 1;
}
