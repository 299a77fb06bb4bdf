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
  /// `root` stands before every path.
  SysfsTree(Card& card, std::string root);

  /// The folder for Card::create: it lies inside the PCI folder, on the same file system.
  std::string storage_folder() const;
  /// Makes the storage folder. 0, or an exit status after its line.
  int prepare();
  /// Writes both trees; the card must be created. 0, or an exit status after its line.
  int write();
  /// True for the path of a file of the functions.
  bool is_below(std::string_view path) const;
  /// True for the path of a file that shows BAR 0 of the card.
  bool is_bar_file(std::string_view path) const;
  /// What the kernel does when `text` is written to its file `path`: resets or removes a function. 0 or an errno; -1
  /// when the file is none of those.
  int control_write(std::string_view path, std::string_view text);
  /// Links the files that show BAR 0 of the card to its new file.
  void bar_files_renew() const;

 private:
  struct Changes {
    std::vector<std::pair<std::string, std::string>> files;
    std::vector<std::string> absent;
    bool leave_out(std::string_view name) const;
  };
  /// Where the function lies in the tree of devices, and its folder there.
  std::string place(const PciFunction& function) const;
  std::string device_folder(const PciFunction& function) const;
  bool function_write(const PciFunction& function, const Changes& changes) const;
  bool links_write(const PciFunction& function) const;
  bool memory_files_write(const PciFunction& function, const Changes& changes) const;
  bool interface_write(const PciFunction& function, size_t index) const;
  void function_remove(PciFunction& function) const;

  Card& card_;
  std::string root_;
  bool ordinary_user_;            // the command sees what the kernel shows an ordinary user
  std::vector<Changes> changes_;  // one a function, same order
};

}  // namespace vcard
