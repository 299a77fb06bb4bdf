// The JSON description of a package.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fwupdate/package.h"

struct kxpkg_image {
  std::string file;  ///< path of the image data; empty for an image of size 0
  uint32_t offset = 0;
  uint8_t type = 0;
};

struct kxpkg_part {
  std::string identification;
  std::vector<kxpkg_image> images;
};

struct kxpkg_description {
  fw_package_kind kind = FW_KIND_NONE;
  std::string boot_loader;  ///< path, or empty
  std::vector<kxpkg_part> parts;
};

/// Reads and checks a description. Returns false after a line on standard error that names what is wrong.
bool kxpkg_description_read(const char* path, kxpkg_description* description);
