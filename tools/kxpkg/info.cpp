#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "common/plural.h"
#include "fwupdate/package_digest.h"
#include "kxpkg.h"

namespace {

void print_part(const fw_package& package, fw_package_part part) {
  fw_header header;
  printf("part %c, header at file offset 0x%" PRIx64 "\n", part == FW_PART_A ? 'A' : 'B',
         fw_package_base(package, part));
  if (fw_package_header_read(package, part, &header) != 0) {
    printf("  no header with a whole image table\n");
    return;
  }
  fw_board_type type;
  const bool has_type = fw_board_type_of_identification(header.identification(), &type) == fw_board_result::ok;
  uint32_t header_sum = 0;
  const bool summed = fw_header_sum(package, header, &header_sum) == 0;
  printf("  checksum        0x%08x (%s)\n", header.checksum,
         !summed                         ? "an image is unreadable"
         : header_sum == header.checksum ? "the sum of the part"
                                         : "not kxpkg's sum");
  printf("  identification  %s\n", fw_text_printable(header.identification()).data());
  printf("  board type      %s\n", has_type ? fw_text_printable(type.data()).data() : "(none)");
  printf("  images          %u%s\n", header.fw_cnt, header.count_is_valid() ? "" : " (not valid)");
  if (!header.table().empty()) {
    printf("  %5s  %12s  %12s  %10s  %4s  %10s\n", "image", "flash offset", "file offset", "size", "type", "sum");
  }
  for (uint32_t i = 0; i < header.table().size(); ++i) {
    const fw_image& image = header.images[i];
    uint32_t sum = 0;
    char sum_text[16] = "unreadable";
    if (fw_image_checksum(package, header, image, &sum) == 0) {
      snprintf(sum_text, sizeof sum_text, "0x%08x", sum);
    }
    printf("  %5u  %#12x  %#12" PRIx64 "  %10u  %4u  %10s\n", i, image.flash_offset, fw_image_position(header, image),
           image.size, image.type, sum_text);
  }
}

}  // namespace

int kxpkg_info(const char* path) {
  fw_package package;
  switch (fw_package_open(path, &package)) {
    case fw_open_result::opened:
      break;
    case fw_open_result::no_file:
      fprintf(stderr, "kxpkg: %s: %s\n", path, strerror(errno));
      return 1;
    case fw_open_result::no_regular_file:
      fprintf(stderr, "kxpkg: %s: is no regular file\n", path);
      return 1;
    case fw_open_result::too_large:
      fprintf(stderr, "kxpkg: %s: is larger than the flash\n", path);
      return 1;
  }
  if (package.kind == FW_KIND_NONE) {
    fprintf(stderr, "kxpkg: %s: is too short for a package\n", path);
    return 1;
  }
  printf("%s: %" PRIu64 " byte%s, kind %u (%s)\n", path, package.size, kx_plural(package.size), package.kind,
         package.kind == FW_KIND_ONE_PARTITION ? "one partition" : "the whole flash");
  fw_sha256 digest;
  const int32_t error = fw_file_sha256(package.fd.get(), package.size, &digest);
  printf("SHA-256 %s\n", error == 0 ? fw_sha256_text(digest).c_str() : strerror(error));
  print_part(package, FW_PART_A);
  if (package.kind == FW_KIND_WHOLE_FLASH) {
    print_part(package, FW_PART_B);
  }
  return 0;
}
