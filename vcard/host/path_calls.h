// The calls that name a path, answered from the card's own files.
#pragma once

#include <utility>
#include <vector>

#include "at_call.h"
#include "host/trapped_call.h"
#include "path_resolver.h"

namespace vcard {

class PathCalls {
 public:
  explicit PathCalls(std::vector<ShownFolder> folders) : resolver_(std::move(folders)) {}

  /// Answers one caught call: on the card's files here, on the host's in the kernel.
  void handle(TrappedCall& call) const;

 private:
  void current_folder_give(TrappedCall& call) const;
  bool place_of(TrappedCall& call, uint64_t folder, uint64_t path, bool follows, Place& place) const;
  void two_paths_handle(TrappedCall& call, const AtCall& at, const Place& first) const;
  void card_handle(TrappedCall& call, const AtCall& at, const std::string& path) const;

  PathResolver resolver_;
};

}  // namespace vcard
