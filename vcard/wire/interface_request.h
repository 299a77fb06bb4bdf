// What every ioctl of a network interface begins with.
#pragma once

#include <cstdint>
#include <string>

#include "host/trapped_call.h"

namespace vcard {

struct InterfaceRequest {
  std::string interface;
  uint64_t address = 0;  // the caller's data
};

/// Takes the request of a trapped ioctl by a peek. False when the call has been answered: it goes on to the kernel when
/// its descriptor is not one of a socket, and fails when its address is not the caller's.
bool interface_request_take(TrappedCall& call, bool is_socket, InterfaceRequest* request);

}  // namespace vcard
