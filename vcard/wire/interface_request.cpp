#include "interface_request.h"

#include <algorithm>
#include <cerrno>

#include "vcard/bytes.h"

namespace vcard {

namespace {

// A name, then a pointer.
constexpr size_t name_size = 16;
constexpr size_t request_size = 40;

}  // namespace

bool interface_request_take(TrappedCall& call, bool is_socket, InterfaceRequest* request) {
  if (!is_socket) {
    call.pass_on();  // the kernel refuses it: no descriptor, or not one of a socket
    return false;
  }
  Bytes bytes(request_size);
  if (!call.peek(call.argument(2), bytes.data(), bytes.size())) {
    call.fail(EFAULT);
    return false;
  }
  request->interface.assign(bytes.begin(), std::find(bytes.begin(), bytes.begin() + name_size, 0));
  request->address = get_le<uint64_t>(bytes, name_size);
  return true;
}

}  // namespace vcard
