#include "genl.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/report.h"
#include "common/wait.h"

namespace {

constexpr uint8_t CONTROLLER_VERSION = 1;
constexpr size_t HEADERS_SIZE = NLMSG_HDRLEN + GENL_HDRLEN;

// The family expects this length: one more than header and data.
constexpr size_t ATTRIBUTE_LENGTH_EXTRA = 1;
constexpr kx_wait_limit SEND_LIMIT = {.step_us = 1000, .looks = 20000};  // while the socket's buffer is full

// Reads a header that lies wholly inside `bytes` at `offset`.
template <typename T>
bool read_at(std::span<const uint8_t> bytes, size_t offset, T* value) {
  if (offset > bytes.size() || sizeof *value > bytes.size() - offset) {
    return false;
  }
  memcpy(value, bytes.data() + offset, sizeof *value);
  return true;
}

int32_t send_all(int socket, std::span<const uint8_t> bytes) {
  sockaddr_nl kernel = {};
  static_assert(sizeof kernel == 12);
  kernel.nl_family = AF_NETLINK;
  const kx_waited waited = kx_wait(SEND_LIMIT, [&] {
    while (!bytes.empty()) {
      const ssize_t sent =
          sendto(socket, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel);
      if (sent < 0) {
        return errno == EAGAIN ? kx_look::again : kx_look::gone;
      }
      bytes = bytes.subspan(std::min(static_cast<size_t>(sent), bytes.size()));
    }
    return kx_look::done;
  });
  return waited == kx_waited::done ? 0 : -1;
}

}  // namespace

int32_t tarn_genl_send_msg(int socket, uint16_t type, uint32_t port_id, uint8_t command, uint8_t version,
                           uint16_t attribute_type, const void* data, uint16_t length) {
  const size_t attribute_length = NLA_HDRLEN + length + ATTRIBUTE_LENGTH_EXTRA;
  const size_t total = HEADERS_SIZE + NLA_ALIGN(attribute_length);
  if (type == 0 || total > GENL_BUFFER_SIZE) {
    return -1;
  }
  uint8_t buffer[GENL_BUFFER_SIZE] = {};
  const nlmsghdr netlink = {static_cast<uint32_t>(total), type, NLM_F_REQUEST, 0, port_id};
  const genlmsghdr generic = {command, version, 0};
  const nlattr attribute = {static_cast<uint16_t>(attribute_length), attribute_type};
  memcpy(buffer, &netlink, sizeof netlink);
  memcpy(buffer + sizeof netlink, &generic, sizeof generic);
  memcpy(buffer + HEADERS_SIZE, &attribute, sizeof attribute);
  memcpy(buffer + HEADERS_SIZE + sizeof attribute, data, length);
  return send_all(socket, {buffer, total});
}

genl_header genl_header_read(std::span<const uint8_t> received, uint16_t* type, std::span<const uint8_t>* message) {
  nlmsghdr header = {};
  const bool complete = read_at(received, 0, &header);
  *type = header.nlmsg_type;
  if (!complete || header.nlmsg_type == NLMSG_ERROR || header.nlmsg_len < sizeof header ||
      header.nlmsg_len > received.size()) {
    return genl_header::malformed;
  }
  *message = received.first(header.nlmsg_len);
  return genl_header::good;
}

uint16_t genl_family_id_read(std::span<const uint8_t> message) {
  nlattr first = {};
  if (!read_at(message, HEADERS_SIZE, &first) || first.nla_len < sizeof first) {
    return 0;
  }
  const size_t second_offset = HEADERS_SIZE + NLA_ALIGN(first.nla_len);
  nlattr second = {};
  uint16_t id = 0;
  if (!read_at(message, second_offset, &second) || second.nla_type != CTRL_ATTR_FAMILY_ID ||
      !read_at(message, second_offset + sizeof second, &id)) {
    return 0;
  }
  return id;
}

std::span<const uint8_t> genl_notice_read(std::span<const uint8_t> message) {
  nlattr attribute = {};
  if (!read_at(message, HEADERS_SIZE, &attribute) || attribute.nla_len < sizeof attribute ||
      attribute.nla_len > message.size() - HEADERS_SIZE) {
    return {};
  }
  return message.subspan(HEADERS_SIZE + sizeof attribute, attribute.nla_len - sizeof attribute);
}

uint32_t tarn_genl_get_family_id(int socket, const char* family_name) {
  constexpr uint32_t FAILED = 0xFFFFFFFF;
  const int32_t ret =
      tarn_genl_send_msg(socket, GENL_ID_CTRL, 0, CTRL_CMD_GETFAMILY, CONTROLLER_VERSION, CTRL_ATTR_FAMILY_NAME,
                         family_name, static_cast<uint16_t>(strlen(family_name) + 1));
  if (ret != 0) {
    KXTOOLS_INFO("genl_send_msg failed,ret=%d!\n", ret);
    return FAILED;
  }
  uint8_t buffer[GENL_BUFFER_SIZE];
  const ssize_t count = recv(socket, buffer, sizeof buffer, 0);
  if (count < 0) {
    KXTOOLS_ERR("rep_len=%ld is invaild!\n", static_cast<long>(count));
    return FAILED;
  }
  uint16_t type = 0;
  std::span<const uint8_t> message;
  if (genl_header_read({buffer, static_cast<size_t>(count)}, &type, &message) != genl_header::good) {
    KXTOOLS_ERR("ans.nlh.nlmsg_type=%d, error!\n", type);
    return FAILED;
  }
  return genl_family_id_read(message);
}
