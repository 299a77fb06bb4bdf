// A folder of the host for the card's files, removed with everything in it: by the process that is left when the run
// ends, and by a later run of the same user when none was.
#pragma once

#include <string>

#include "host/unique_fd.h"

namespace vcard {

class PrivateFolder {
 public:
  PrivateFolder() = default;
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  /// Makes it, in memory where the host has enough of that, and removes those of killed runs. Empty, or why not.
  std::string make();
  void remove();
  const std::string& path() const {
    return path_;
  }

 private:
  std::string path_;
  UniqueFd lock_;  // on the folder, shared with the process that is forked: free when both have ended
};

}  // namespace vcard
