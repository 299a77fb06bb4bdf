#include <cstring>

#include "kxpkg.h"

namespace {

constexpr const char* USAGE =
    R"(usage: kxpkg build DESCRIPTION.json PACKAGE   make a package from a description and image files
       kxpkg info PACKAGE                     show identification, board type, kind and images
       kxpkg check PACKAGE                    say everything for which the update would refuse the package

A description:
  {
    "identification": "TARN-FW-BOARDTYPE-VERSION",
    "kind": 1,                       1: one partition, 2: the whole flash
    "boot_loader": "bl1.bin",        optional: file in front of the header
    "images": [{"file": "a.bin", "offset": "0x41000", "type": 2}, ...],
    "part_b": {"images": [...]}      kind 2: the second partition, optionally with its own identification
  }
Offsets are flash offsets, as numbers or as text with 0x. A file name is relative to the description. An image without
a file has size 0 and is not written by the update.
)";

int check(const char* path) {
  const uint32_t reasons = kxpkg_check(path, path, stdout);
  if (reasons == 0) {
    printf("%s: nothing to refuse; whether it fits a card depends on the card's board type\n", path);
  }
  return reasons == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && (strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "--help") == 0)) {
    fputs(USAGE, stdout);
    return 0;
  }
  if (argc == 4 && strcmp(argv[1], "build") == 0) {
    return kxpkg_build(argv[2], argv[3]);
  }
  if (argc == 3 && strcmp(argv[1], "info") == 0) {
    return kxpkg_info(argv[2]);
  }
  if (argc == 3 && strcmp(argv[1], "check") == 0) {
    return check(argv[2]);
  }
  fputs(USAGE, stderr);
  return 2;
}
