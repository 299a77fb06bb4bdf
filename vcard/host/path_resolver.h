// Where a path leads when the card's folders stand in for the host's: worked out here, link by link, because the kernel
// would follow links into the host's own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/trapped_call.h"

namespace vcard {

/// `shown` is what the command sees of the folder `kept`.
struct ShownFolder {
  std::string shown;
  std::string kept;
};

struct Place {
  enum class Kind : uint8_t {
    card,     // `path` is the kept file: no link leads away from it
    host,     // the kernel may have it; `path` is where it leads
    refused,  // with `error`
  };
  Kind kind = Kind::refused;
  std::string path;
  int error = 0;
};

class PathResolver {
 public:
  explicit PathResolver(std::vector<ShownFolder> folders) : folders_(std::move(folders)) {}

  /// `path` as the caller means it: below the folder of its descriptor `folder` (or AT_FDCWD) when it is relative. A
  /// link at its end is followed when `follow` is set.
  Place resolve(const TrappedCall& call, int folder, std::string_view path, bool follow) const;
  /// What the command sees at a kept path, which is given back itself when it shows nowhere.
  std::string shown(const std::string& kept) const;

 private:
  struct Walk;
  std::string kept(const std::string& shown) const;
  bool is_shown(const std::string& path) const;
  int component_enter(Walk& walk, std::string_view name) const;
  Place host_place(std::string path) const;

  std::vector<ShownFolder> folders_;
};

}  // namespace vcard
