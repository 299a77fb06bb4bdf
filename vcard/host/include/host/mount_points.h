// Folders of the host under which the command's private folders are mounted. They are made when they are missing and
// removed when the last virtual card that needs them ends: every user holds a shared lock on the folder, and only who
// can turn it into an exclusive one removes it. A folder with anything in it is never removed.
#pragma once

#include <string>
#include <vector>

#include "host/unique_fd.h"

namespace vcard {

class MountPoints {
 public:
  /// Makes and holds `path`. Empty, or why not.
  std::string hold(const std::string& path);
  /// Gives all folders back. With `unmount` what this process mounted on them is detached first.
  void release(bool unmount);

 private:
  struct Held {
    std::string path;
    UniqueFd folder;
  };
  std::vector<Held> held_;
};

}  // namespace vcard
