// The many system calls that name a path, in one form: folder, path, and the rest.
#pragma once

#include <array>
#include <cstdint>

#include "host/call_rules.h"
#include "host/trapped_call.h"

namespace vcard {

/// Newer than the headers of some systems; the same number everywhere.
inline constexpr long fchmodat2_call = 452;

struct AtCall {
  long form;  // the number of the call that takes these arguments, an "at" form where there is one
  /// Descriptor of a folder or AT_FDCWD, address of the path, and what follows them in the call. A second path stands
  /// behind its own folder; that of a symbolic link comes first, then its text.
  std::array<uint64_t, 6> arguments;

  int folder() const {
    return static_cast<int>(arguments[0]);
  }
  /// Whether a link at the end of the path is followed.
  bool follows() const;
};

AtCall at_call(const TrappedCall& call);

/// Rules for the wires and all calls that name a path; what would lead around them is refused.
CallRules path_rules();

}  // namespace vcard
