// What the update refuses, in the order in which it finds it, and what only a look at the sums shows.
#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "fwupdate/package_check.h"
#include "fwupdate/package_digest.h"
#include "kxpkg.h"

namespace {

constexpr int STATUS_NOT_OPENED = 2;

uint32_t report(FILE* out, const char* name, int status, const char* text) {
  fprintf(out, "%s: %s (the update ends with status %d)\n", name, text, status);
  return 1;
}

// The sum that stands in a header need not be kxpkg's own, but where it differs the package is none that kxpkg made, or
// damaged.
uint32_t check_part(const fw_package& package, fw_package_part part, const char* name, FILE* sums, FILE* faults) {
  fw_header header;
  if (fw_package_header_read(package, part, &header) != 0) {
    return 0;  // told already
  }
  const char letter = part == FW_PART_A ? 'A' : 'B';
  for (uint32_t i = 0; sums != nullptr && i < header.table().size(); ++i) {
    uint32_t sum = 0;
    if (fw_image_checksum(package, header, header.images[i], &sum) == 0) {
      fprintf(sums, "%s: part %c image %u: sum 0x%08x\n", name, letter, i, sum);
    }
  }
  uint32_t sum = 0;
  if (fw_header_sum(package, header, &sum) != 0 || sum == header.checksum) {
    return 0;
  }
  fprintf(faults,
          "%s: part %c: the header says the sum 0x%08x, its bytes have 0x%08x: damaged, or made by another tool (the "
          "update says so and goes on)\n",
          name, letter, header.checksum, sum);
  return 1;
}

uint32_t check_content(const fw_package& package, const char* name, FILE* sums, FILE* faults) {
  const std::vector<fw_problem> problems = fw_package_check(package);
  for (const fw_problem& problem : problems) {
    report(faults, name, problem.status(), problem.text.c_str());
  }
  uint32_t count = static_cast<uint32_t>(problems.size());
  fw_sha256 digest;
  const int32_t error = fw_file_sha256(package.fd.get(), package.size, &digest);
  if (error != 0) {
    count += report(faults, name, STATUS_NOT_OPENED, strerror(error));
  } else if (sums != nullptr) {
    fprintf(sums, "%s: SHA-256 %s\n", name, fw_sha256_text(digest).c_str());
  }
  if (package.kind == FW_KIND_NONE) {
    return count;
  }
  count += check_part(package, FW_PART_A, name, sums, faults);
  return package.kind == FW_KIND_WHOLE_FLASH ? count + check_part(package, FW_PART_B, name, sums, faults) : count;
}

}  // namespace

uint32_t kxpkg_check(const char* path, const char* name, FILE* sums, FILE* faults) {
  fw_package package;
  char text[256];
  switch (fw_package_open(path, &package)) {
    case fw_open_result::opened:
      return check_content(package, name, sums, faults);
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
  return report(faults, name, STATUS_NOT_OPENED, text);
}
