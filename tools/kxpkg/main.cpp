#include <cstring>

#include "build_id/build_id.h"
#include "kxpkg.h"

namespace {

constexpr const char* USAGE =
    R"(usage: kxpkg build DESCRIPTION.json PACKAGE   make a package from a description and image files
       kxpkg info PACKAGE                     show identification, board type, kind, sums and images
       kxpkg check PACKAGE...                 say everything for which the update would refuse a package, and damage
       kxpkg --version                        show the version of kxpkg

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
  const uint32_t faults = kxpkg_check(path, path, stdout, stdout);
  if (faults == 0) {
    printf("%s: nothing to refuse; whether it fits a card depends on the card's board type\n", path);
  }
  return faults == 0 ? 0 : 1;
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
  if (argc >= 3 && strcmp(argv[1], "check") == 0) {
    int status = 0;
    for (int i = 2; i < argc; ++i) {
      status |= check(argv[i]);
    }
    return status;
  }
  if (argc == 2 && (strcmp(argv[1], "-v") == 0 || strcmp(argv[1], "--version") == 0)) {
    printf("kxpkg %s\nbuilt on %s %s with %s\n", KX_BUILD_VERSION, KX_BUILD_DATE, KX_BUILD_TIME, KX_BUILD_COMPILER);
    return 0;
  }
  fputs(USAGE, stderr);
  return 2;
}
