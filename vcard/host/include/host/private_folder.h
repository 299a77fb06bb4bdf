// A folder of the host for the card's files, removed with everything in it.
#pragma once

#include <string>

namespace vcard {

class PrivateFolder {
 public:
  PrivateFolder() = default;
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  /// Makes it, in memory where the host has enough of that. Empty, or why not.
  std::string make();
  void remove();
  const std::string& path() const {
    return path_;
  }

 private:
  std::string path_;
};

}  // namespace vcard
