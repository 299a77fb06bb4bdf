// The sysfs folders that show the card's functions to the command.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "vcard/card.h"

namespace vcard {

class SysfsTree {
 public:
  /// Reads what the card file says about the files of each function: functions.ADDRESS.files replaces the text of
  /// files, functions.ADDRESS.absent_files leaves files out. Call it before the complaints of the card file are looked
  /// at.
  explicit SysfsTree(Card& card);

  /// The folder for Card::create: it lies inside the PCI folder, on the same file system.
  static std::string storage_folder();
  /// Makes the storage folder. 0, or an exit status after its line.
  int prepare();
  /// Writes both trees; the card must be created. 0, or an exit status after its line.
  int write();
  /// True for the path of a file that shows BAR 0 of the card.
  bool is_bar_file(std::string_view path) const;
  /// Links the files that show BAR 0 of the card to its new file.
  void bar_files_renew() const;

 private:
  struct Changes {
    std::vector<std::pair<std::string, std::string>> files;
    std::vector<std::string> absent;
    bool leave_out(std::string_view name) const;
  };
  static bool function_write(const PciFunction& function, const Changes& changes);
  static bool memory_files_write(const PciFunction& function, const Changes& changes);
  static bool interface_write(const PciFunction& function, size_t index);

  Card& card_;
  std::vector<Changes> changes_;  // one a function, same order
};

}  // namespace vcard
