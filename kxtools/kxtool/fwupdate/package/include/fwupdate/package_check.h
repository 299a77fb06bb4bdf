// Everything for which the update refuses a package whatever the card is: one list for the update and for kxpkg.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fwupdate/package.h"

enum class fw_problem_kind : uint8_t {
  boot_stage,  ///< `value` is an errno
  no_kind,
  no_header,
  identification,
  count,
  old_layout,
  image_data,    ///< beyond the file, or shared with another image
  image_offset,  ///< `value` is the flash offset
  image_device,  ///< `value` is the flash device id
  seal,          ///< the file was changed after kxpkg had made it
};

struct fw_problem {
  fw_problem_kind kind;
  fw_package_part part;
  uint32_t value;
  std::string text;  ///< for people, without the end of its line

  /// The exit status with which the update refuses it.
  int status() const;
};

/// All problems of an open package, those of part A first; empty for one that the update takes.
std::vector<fw_problem> fw_package_check(const fw_package& package);
