#include "wire/netlink.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vcard {

namespace {

constexpr const char* family_name = "tools_family";
constexpr size_t headers_size = NLMSG_HDRLEN + GENL_HDRLEN;
constexpr size_t largest_message = 65536;
constexpr uint8_t notice_command = 1;
constexpr uint16_t notice_attribute = 1;

// What is wrong with an answer or a notice; notices know the first five.
enum MessageFault : size_t {
  fault_none,
  fault_refused,
  fault_short,
  fault_bad_length,
  fault_small_length,
  fault_silent,
  fault_no_id
};
constexpr const char* family_fault_names[] = {"none",         "unknown", "short", "bad_length",
                                              "small_length", "silent",  "no_id"};
constexpr const char* notice_fault_names[] = {"none", "error", "short", "bad_length", "small_length"};

constexpr uint64_t largest_errno = 4095;

/// A header length that does not even hold the header.
constexpr uint32_t small_length = NLMSG_HDRLEN - 4;

/// A message with both headers and no attribute; the length is set by message_close.
Bytes message_open(uint16_t type, uint32_t sequence, uint32_t port, uint8_t command, uint8_t version) {
  Bytes message(headers_size);
  put_le<uint16_t>(message, 4, type);
  put_le<uint32_t>(message, 8, sequence);
  put_le<uint32_t>(message, 12, port);
  message[16] = command;
  message[17] = version;
  return message;
}

void attribute_add(Bytes& message, uint16_t type, ByteView data) {
  size_t start = message.size();
  put_le<uint16_t>(message, start, static_cast<uint16_t>(NLA_HDRLEN + data.size()));
  put_le<uint16_t>(message, start + 2, type);
  message.insert(message.end(), data.begin(), data.end());
  message.resize(NLMSG_ALIGN(message.size()));
}

template <typename T>
void attribute_add_word(Bytes& message, uint16_t type, T value) {
  Bytes data;
  put_le<T>(data, 0, value);
  attribute_add(message, type, data);
}

void message_close(Bytes& message) {
  put_le<uint32_t>(message, 0, static_cast<uint32_t>(message.size()));
}

/// Gives a closed message the fault of its form, if it is one.
void spoil(Bytes& message, size_t fault) {
  if (fault == fault_bad_length) {
    put_le<uint32_t>(message, 0, static_cast<uint32_t>(message.size() + 4));
  } else if (fault == fault_small_length) {
    put_le<uint32_t>(message, 0, small_length);
  } else if (fault == fault_short) {
    message.resize(10);
  }
}

/// What the kernel answers to a request that it refuses.
Bytes error_message(uint32_t port, int error, ByteView request) {
  Bytes message(NLMSG_HDRLEN);
  put_le<uint16_t>(message, 4, NLMSG_ERROR);
  put_le<uint32_t>(message, 12, port);
  put_le<uint32_t>(message, NLMSG_HDRLEN, static_cast<uint32_t>(-error));
  message.insert(message.end(), request.begin(), request.begin() + std::min<std::ptrdiff_t>(16, std::ssize(request)));
  message.resize(NLMSG_HDRLEN + 20);
  message_close(message);
  return message;
}

/// The text of the family-name attribute of a request, up to its first zero byte.
std::string requested_family(ByteView request) {
  size_t offset = headers_size;
  while (offset + NLA_HDRLEN <= request.size()) {
    size_t length = get_le<uint16_t>(request, offset);
    if (length < NLA_HDRLEN) {
      break;
    }
    if (get_le<uint16_t>(request, offset + 2) == CTRL_ATTR_FAMILY_NAME) {
      ByteView text = request.subspan(offset + NLA_HDRLEN);
      text = text.first(std::min(text.size(), length - NLA_HDRLEN));
      return std::string(text.begin(), std::find(text.begin(), text.end(), 0));
    }
    offset += NLMSG_ALIGN(length);
  }
  return "";
}

bool message_send(int fd, const Bytes& message) {
  return send(fd, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) == static_cast<ssize_t>(message.size());
}

}  // namespace

NetlinkWire::NetlinkWire(Card& card) : card_(card) {
  CardSection section = card.file().section("faults").section("netlink");
  family_id_ = static_cast<uint16_t>(section.number("family_id", 0x1f, UINT16_MAX));
  notice_family_id_ = static_cast<uint16_t>(section.number("notice_family_id", family_id_, UINT16_MAX));
  family_fault_ = section.choice("family", fault_none, family_fault_names);
  notice_fault_ = section.choice("notice", fault_none, notice_fault_names);
  notice_fault_from_ = static_cast<uint32_t>(section.number("notice_from", 0, UINT32_MAX));
  bind_errno_ = static_cast<int>(section.number("bind_errno", 0, largest_errno));
}

void NetlinkWire::open_socket(TrappedCall& call) {
  const int type = static_cast<int>(call.argument(1));
  Socket socket;
  socket.process = call.process();
  card_.log().line("netlink_socket type=%d", type & 15);
  // A sequenced-packet socket keeps message limits and takes sendto with a netlink address, which it ignores.
  socket.card_end = call.finish_with_socket(type, socket.target);
  if (socket.card_end) {
    sockets_.push_back(std::move(socket));
  }
}

void NetlinkWire::bind_socket(TrappedCall& call) {
  std::string target = call.descriptor_target(static_cast<int>(call.argument(0)));
  auto socket = std::find_if(sockets_.begin(), sockets_.end(), [&](const Socket& s) { return s.target == target; });
  if (socket == sockets_.end()) {
    call.pass_on();
    return;
  }
  struct sockaddr_nl address = {};
  if (!call.read(call.argument(1), &address, sizeof address)) {
    call.fail(EFAULT);
    return;
  }
  card_.log().line(
      "netlink_bind family=%u port=%s groups=0x%x", address.nl_family,
      static_cast<pid_t>(address.nl_pid) == call.process() ? "self" : std::to_string(address.nl_pid).c_str(),
      address.nl_groups);
  bool taken = std::any_of(sockets_.begin(), sockets_.end(),
                           [&](const Socket& s) { return s.bound && s.port == address.nl_pid && &s != &*socket; });
  if (address.nl_family != AF_NETLINK || socket->bound) {
    call.fail(EINVAL);
  } else if (bind_errno_ != 0 || taken) {
    call.fail(bind_errno_ != 0 ? bind_errno_ : EADDRINUSE);
  } else {
    socket->bound = true;
    socket->port = address.nl_pid;
    call.finish(0);
  }
}

void NetlinkWire::poll_add(std::vector<struct pollfd>& set) const {
  for (const Socket& socket : sockets_) {
    set.push_back({socket.card_end.get(), POLLIN, 0});
  }
}

void NetlinkWire::poll_handle(const std::vector<struct pollfd>& set) {
  Bytes message;
  for (const struct pollfd& entry : set) {
    auto socket =
        std::find_if(sockets_.begin(), sockets_.end(), [&](const Socket& s) { return s.card_end.get() == entry.fd; });
    if (socket == sockets_.end() || entry.revents == 0) {
      continue;
    }
    message.resize(largest_message);
    ssize_t length = recv(entry.fd, message.data(), message.size(), MSG_DONTWAIT);
    if (length > 0) {
      request_handle(*socket, ByteView(message).first(static_cast<size_t>(length)));
    } else if (length == 0 || errno != EAGAIN) {
      sockets_.erase(socket);
    }
  }
}

void NetlinkWire::request_handle(Socket& socket, ByteView message) {
  // A port that is the tool's process id would make lines differ from run to run.
  Bytes shown(message.begin(), message.end());
  uint32_t port = get_le<uint32_t>(message, 12);
  bool own_port = port == static_cast<uint32_t>(socket.process);
  if (own_port) {
    put_le<uint32_t>(shown, 12, 0);
  }
  card_.log().line("netlink port=%s message=%s", own_port ? "self" : std::to_string(port).c_str(),
                   hex_text(shown).c_str());
  if (family_fault_ == fault_silent) {
    return;
  }
  Bytes answer = family_answer(socket, message);
  bool sent = message_send(socket.card_end.get(), answer);
  // Notices wait until the tool knows the family: before that it would take them for the answer.
  if (sent && get_le<uint16_t>(answer, 4) == GENL_ID_CTRL) {
    socket.resolved = true;
    card_.processor().deliver();
  }
}

Bytes NetlinkWire::family_answer(const Socket& socket, ByteView request) const {
  uint16_t type = get_le<uint16_t>(request, 4);
  uint8_t command = request.size() > 16 ? request[16] : uint8_t{0};
  if (request.size() < headers_size || get_le<uint32_t>(request, 0) > request.size()) {
    return error_message(socket.port, EINVAL, request);
  }
  if (type != GENL_ID_CTRL || command != CTRL_CMD_GETFAMILY) {
    return error_message(socket.port, EOPNOTSUPP, request);
  }
  if (requested_family(request) != family_name || family_fault_ == fault_refused) {
    return error_message(socket.port, ENOENT, request);
  }
  Bytes answer = message_open(GENL_ID_CTRL, get_le<uint32_t>(request, 8), socket.port, CTRL_CMD_NEWFAMILY, 2);
  const uint8_t* name = reinterpret_cast<const uint8_t*>(family_name);
  attribute_add(answer, CTRL_ATTR_FAMILY_NAME, {name, strlen(family_name) + 1});
  if (family_fault_ != fault_no_id) {
    attribute_add_word<uint16_t>(answer, CTRL_ATTR_FAMILY_ID, family_id_);
  }
  attribute_add_word<uint32_t>(answer, CTRL_ATTR_VERSION, 1);
  attribute_add_word<uint32_t>(answer, CTRL_ATTR_HDRSIZE, 0);
  attribute_add_word<uint32_t>(answer, CTRL_ATTR_MAXATTR, notice_attribute);
  message_close(answer);
  spoil(answer, family_fault_);
  return answer;
}

Bytes NetlinkWire::notice_message(uint32_t port, ByteView payload) const {
  bool spoiled = notices_ >= notice_fault_from_;
  size_t fault = spoiled ? notice_fault_ : fault_none;
  if (fault == fault_refused) {
    return error_message(port, EIO, {});
  }
  Bytes message = message_open(spoiled ? notice_family_id_ : family_id_, 0, port, notice_command, 1);
  attribute_add(message, notice_attribute, payload);
  message_close(message);
  spoil(message, fault);
  return message;
}

bool NetlinkWire::send_notice(uint32_t port, ByteView payload) {
  auto socket = std::find_if(sockets_.begin(), sockets_.end(),
                             [&](const Socket& s) { return s.bound && s.port == port && s.resolved; });
  bool sent = socket != sockets_.end() && message_send(socket->card_end.get(), notice_message(port, payload));
  notices_ += sent ? 1 : 0;
  return sent;
}

}  // namespace vcard
