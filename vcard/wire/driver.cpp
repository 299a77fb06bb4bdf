#include "wire/driver.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "interface_request.h"

namespace vcard {

namespace {

// The message header.
constexpr size_t header_size = 40;
constexpr size_t reply_length_offset = 32;
// The status area of the caller: flag, channel result.
constexpr uint32_t status_processed = 1;

enum MessageType : uint32_t {
  register_events = 0,
  card_request = 1,
  device_information = 2,
  vf_status = 3,
  port_query = 4,
  packet_capture = 5,
  compat_query = 6,
};

/// Channel result for a reply that does not fit the caller's buffer.
constexpr int32_t reply_too_long = 12;
/// Channel result when the card does not answer the driver.
constexpr int32_t time_out = 6;

int process_open(pid_t pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

bool process_has_ended(int fd) {
  struct pollfd entry = {fd, POLLIN, 0};
  return fd < 0 || poll(&entry, 1, 0) > 0;
}

const char* pointer_text(uint64_t pointer) {
  return pointer != 0 ? "set" : "null";
}

}  // namespace

struct DriverWire::Message {
  uint64_t address;
  uint32_t type;
  uint32_t event_pid;
  uint64_t status;
  uint32_t event_id;
  uint16_t route;
  uint16_t reserved_22;
  uint64_t reply;
  uint16_t reply_length;
  uint16_t reserved_34;
  uint16_t payload_length;
  uint16_t tail;  // the two bytes between the payload length and the payload
  Bytes payload;

  bool read(const TrappedCall& call, uint64_t from) {
    Bytes header(header_size);
    address = from;
    if (!call.peek(from, header.data(), header.size())) {
      return false;
    }
    type = get_le<uint32_t>(header, 0);
    event_pid = get_le<uint32_t>(header, 4);
    status = get_le<uint64_t>(header, 8);
    event_id = get_le<uint32_t>(header, 16);
    route = get_le<uint16_t>(header, 20);
    reserved_22 = get_le<uint16_t>(header, 22);
    reply = get_le<uint64_t>(header, 24);
    reply_length = get_le<uint16_t>(header, reply_length_offset);
    reserved_34 = get_le<uint16_t>(header, 34);
    payload_length = get_le<uint16_t>(header, 36);
    tail = get_le<uint16_t>(header, 38);
    payload.resize(payload_length);
    return call.read(from + header_size, payload.data(), payload.size());
  }

  void log(const TrappedCall& call, const std::string& interface, RequestLog& lines) const {
    bool own_pid = event_pid == static_cast<uint32_t>(call.process());
    lines.line(
        "ioctl interface=%s type=%u event_pid=%s status=%s event_id=%u route=%u reserved=%u reply=%s reply_length=%u "
        "reserved=%u payload_length=%u payload=%s",
        interface.c_str(), type, own_pid ? "self" : std::to_string(event_pid).c_str(), pointer_text(status), event_id,
        route, reserved_22, pointer_text(reply), reply_length, reserved_34, payload_length, hex_text(payload).c_str());
  }
};

DriverWire::DriverWire(Card& card, NetlinkWire& netlink) : card_(card), netlink_(netlink) {
  CardSection section = card.file().section("driver");
  check_word_ = static_cast<uint32_t>(section.number("check_word", 0xc0427a39, UINT32_MAX));
  CardSection compat = section.section("compat");
  compat_present_ = compat.flag("present", true);
  compat_ = {static_cast<uint8_t>(compat.number("item", 0, 255)),
             static_cast<uint8_t>(compat.number("major", 0, 255)),
             static_cast<uint8_t>(compat.number("tool_minor", 0, 255)),
             static_cast<uint8_t>(compat.number("drv_minor", 0, 255)),
             0,
             0,
             0,
             0};
  load_faults(card.file().section("faults").section("driver"));
}

void DriverWire::load_faults(const CardSection& section) {
  for (const CardSection& entry : section.sections("requests")) {
    Fault fault = {};
    fault.any_type = !entry.has("type");
    fault.type = static_cast<uint32_t>(entry.number("type", 0, UINT32_MAX));
    fault.range = FaultRange(entry);
    fault.never_answers = entry.flag("never_answers", false);
    fault.error = static_cast<int>(entry.number("errno", 0, 133));
    fault.has_status_flag = entry.has("status_flag");
    fault.status_flag = static_cast<uint32_t>(entry.number("status_flag", 1, UINT32_MAX));
    fault.has_result = entry.has("result");
    fault.result = static_cast<int32_t>(entry.signed_number("result", 0, INT32_MIN, INT32_MAX));
    if (!fault.never_answers && fault.error == 0 && !fault.has_status_flag && !fault.has_result) {
      entry.complain("", "says neither never_answers nor errno nor status_flag nor result");
    }
    faults_.push_back(fault);
  }
}

DriverWire::Fault* DriverWire::fault_of(uint32_t type) {
  auto fault = std::find_if(faults_.begin(), faults_.end(),
                            [&](Fault& row) { return (row.any_type || row.type == type) && row.range.hits_next(); });
  return fault != faults_.end() ? &*fault : nullptr;
}

int DriverWire::interface_error(const std::string& name) const {
  for (const PciFunction& function : card_.functions()) {
    if (!function.interface.empty() && function.interface == name) {
      return function.driver == card_driver ? 0 : EOPNOTSUPP;
    }
  }
  return ENODEV;
}

/// Looking takes a third of an exchange, so the socket of a thread's last request is taken for one again.
bool DriverWire::is_socket(const TrappedCall& call) {
  int fd = static_cast<int>(call.argument(0));
  if (call.thread() != last_thread_ || fd != last_socket_) {
    if (call.descriptor_target(fd).rfind("socket:", 0) != 0) {
      return false;
    }
    last_thread_ = call.thread();
    last_socket_ = fd;
  }
  return true;
}

void DriverWire::handle(TrappedCall& call) {
  InterfaceRequest request;
  if (!interface_request_take(call, is_socket(call), &request)) {
    return;
  }
  const std::string& interface = request.interface;
  if (int error = interface_error(interface); error != 0) {
    card_.log().line("ioctl interface=%s refused=%d", interface.c_str(), error);
    call.fail(error);
    return;
  }
  Message message;
  if (!message.read(call, request.address)) {
    call.fail(EFAULT);
    return;
  }
  if (card_.log().active()) {
    message.log(call, interface, card_.log());
  }
  Outcome outcome = run(call, interface, message);
  if (outcome.silent) {
    card_.log().line("ioctl_silent");
  } else if (outcome.error == 0 && !write_outcome(call, message, outcome)) {
    call.fail(EFAULT);
  } else if (outcome.error != 0) {
    card_.log().line("ioctl_answer errno=%d", outcome.error);
    call.fail(outcome.error);
  } else {
    if (card_.log().active()) {
      card_.log().line("ioctl_answer status=%u result=%d reply=%s", outcome.status_flag, outcome.result,
                       hex_text(outcome.reply).c_str());
    }
    call.finish(0);
  }
}

DriverWire::Outcome DriverWire::run(const TrappedCall& call, const std::string& interface, const Message& message) {
  const Fault* fault = fault_of(message.type);
  Outcome outcome;
  if (fault != nullptr && (fault->never_answers || fault->error != 0)) {
    outcome.silent = fault->never_answers;
    outcome.error = fault->error;
    return outcome;
  }
  switch (message.type) {
    case register_events:
      outcome = register_tool(call, interface, message);
      break;
    case card_request:
      outcome = forward(message);
      break;
    case compat_query:
      outcome.status_flag = compat_present_ ? status_processed : 0;
      outcome.reply = compat_present_ ? compat_ : Bytes();
      break;
    case device_information:
    case vf_status:
    case port_query:
    case packet_capture:
      break;
    default:
      outcome.error = EINVAL;
  }
  if (fault != nullptr && fault->has_status_flag) {
    outcome.status_flag = fault->status_flag;
  }
  if (fault != nullptr && fault->has_result) {
    outcome.result = fault->result;
  }
  return outcome;
}

DriverWire::Outcome DriverWire::register_tool(const TrappedCall& call, const std::string& interface,
                                              const Message& message) {
  Outcome outcome;
  std::erase_if(registrations_, [](const Registration& r) { return process_has_ended(r.process.get()); });
  bool taken = std::any_of(registrations_.begin(), registrations_.end(),
                           [&](const Registration& r) { return r.interface == interface; });
  if (taken) {
    outcome.error = EBUSY;
    return outcome;
  }
  registrations_.push_back(Registration{interface, message.event_pid, UniqueFd(process_open(call.process()))});
  uint32_t port = message.event_pid;
  card_.processor().attach_tool(
      [this, port](uint16_t, ByteView payload) { return netlink_.send_notice(port, payload); });
  put_le<uint32_t>(outcome.reply, 0, check_word_);
  return outcome;
}

DriverWire::Outcome DriverWire::forward(const Message& message) {
  Outcome outcome;
  if (card_.dead()) {
    outcome.result = time_out;
    return outcome;
  }
  outcome.result = card_.processor().handle(static_cast<uint16_t>(message.event_id), message.payload, outcome.reply);
  outcome.silent = outcome.result == no_answer;
  if (outcome.result == 0 && outcome.reply.size() > message.reply_length) {
    outcome.result = reply_too_long;
  }
  if (outcome.result != 0) {
    outcome.reply.clear();
  }
  return outcome;
}

bool DriverWire::write_outcome(const TrappedCall& call, const Message& message, Outcome& outcome) {
  outcome.reply.resize(std::min<size_t>(outcome.reply.size(), message.reply_length));
  Bytes length;
  if (!outcome.reply.empty()) {
    put_le<uint16_t>(length, 0, static_cast<uint16_t>(outcome.reply.size()));
  }
  Bytes status;
  put_le<uint32_t>(status, 0, outcome.status_flag);
  put_le<uint32_t>(status, 4, static_cast<uint32_t>(outcome.result));
  return call.write(
      {{message.reply, outcome.reply}, {message.address + reply_length_offset, length}, {message.status, status}});
}

}  // namespace vcard
