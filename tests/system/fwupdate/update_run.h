// A package file and a card's kept folder for one update of the real tool under the virtual card.
#pragma once

#include <string>

#include "../../kxtool/fwupdate/package_file.h"
#include "system/process.h"

namespace kx_system {

using package_file::bytes;
using package_file::PARTITION_1;
using package_file::PARTITION_2;

/// Images of 5000 and 2029 bytes; the identification fits the card that is plugged in without a card file.
struct Workplace {
  explicit Workplace(int kind = 1, const std::string& identification = "TARN-FW-BOARDTYPE-2.0.0");

  /// True when the flash holds both images where the package puts them, for a card that runs from partition 1.
  bool flash_holds_package() const;
  /// The update log of all runs.
  std::string log() const;

  /// One-shot: kxtool fwupdate eth0 and the package.
  Command by_name(const std::string& card = "{}") const;
  /// Runs a script of the system's shell, see kx_system::script.
  Result script(const std::string& text, const std::string& card) const;
  /// The shell, which binds the card first and, with `super_user`, has the raised permission.
  Command by_address(const std::string& card = "{}", bool super_user = true) const;
  /// The update of `device` in the shell of a super user; behind it a command that needs the device's run lock and
  /// prints NEXT_OUT.
  Command with_next(const std::string& device, const std::string& card) const;
  /// The lines that a user types in the shell for an update of `device`.
  std::string line(const std::string& device) const {
    return "kxtool fwupdate " + device + " " + package + "\n";
  }

  Folder folder;
  package_file::flash_file flash{folder / "flash"};
  std::string package;
  int kind;
};

inline constexpr const char* ADDRESS = "0000:3b:00.0";
inline constexpr const char* NEXT_OUT = "active partition: ";

}  // namespace kx_system
