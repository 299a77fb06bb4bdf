#include "genl.h"

#include <linux/netlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/report.h"
#include "common/wait.h"

namespace {

constexpr uint16_t TYPE_ERROR = 2;
constexpr uint16_t TYPE_CONTROLLER = 16;
constexpr uint8_t COMMAND_GET_FAMILY = 3;
constexpr uint8_t CONTROLLER_VERSION = 1;
constexpr uint16_t ATTRIBUTE_FAMILY_ID = 1;
constexpr uint16_t ATTRIBUTE_FAMILY_NAME = 2;

struct netlink_header {
  uint32_t length;
  uint16_t type;
  uint16_t flags;
  uint32_t sequence;
  uint32_t port_id;
};
struct generic_header {
  uint8_t command;
  uint8_t version;
  uint16_t reserved;
};
struct attribute_header {
  uint16_t length;
  uint16_t type;
};
constexpr size_t HEADERS_SIZE = sizeof(netlink_header) + sizeof(generic_header);
static_assert(sizeof(netlink_header) == 16 && HEADERS_SIZE == 20 && sizeof(attribute_header) == 4);

// The family expects this length: one more than header and data.
constexpr size_t ATTRIBUTE_LENGTH_EXTRA = 1;
constexpr kx_wait_limit SEND_LIMIT = {.step_us = 1000, .looks = 20000};  // while the socket's buffer is full

constexpr size_t align4(size_t length) {
  return (length + 3) & ~size_t{3};
}

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
  const size_t attribute_length = sizeof(attribute_header) + length + ATTRIBUTE_LENGTH_EXTRA;
  const size_t total = HEADERS_SIZE + align4(attribute_length);
  if (type == 0 || total > GENL_BUFFER_SIZE) {
    return -1;
  }
  uint8_t buffer[GENL_BUFFER_SIZE] = {};
  const netlink_header netlink = {static_cast<uint32_t>(total), type, NLM_F_REQUEST, 0, port_id};
  const generic_header generic = {command, version, 0};
  const attribute_header attribute = {static_cast<uint16_t>(attribute_length), attribute_type};
  memcpy(buffer, &netlink, sizeof netlink);
  memcpy(buffer + sizeof netlink, &generic, sizeof generic);
  memcpy(buffer + HEADERS_SIZE, &attribute, sizeof attribute);
  memcpy(buffer + HEADERS_SIZE + sizeof attribute, data, length);
  return send_all(socket, {buffer, total});
}

genl_header genl_header_read(std::span<const uint8_t> received, uint16_t* type, std::span<const uint8_t>* message) {
  netlink_header header = {};
  const bool complete = read_at(received, 0, &header);
  *type = header.type;
  if (!complete || header.type == TYPE_ERROR || header.length < sizeof header || header.length > received.size()) {
    return genl_header::malformed;
  }
  *message = received.first(header.length);
  return genl_header::good;
}

uint16_t genl_family_id_read(std::span<const uint8_t> message) {
  attribute_header first = {};
  if (!read_at(message, HEADERS_SIZE, &first) || first.length < sizeof first) {
    return 0;
  }
  const size_t second_offset = HEADERS_SIZE + align4(first.length);
  attribute_header second = {};
  uint16_t id = 0;
  if (!read_at(message, second_offset, &second) || second.type != ATTRIBUTE_FAMILY_ID ||
      !read_at(message, second_offset + sizeof second, &id)) {
    return 0;
  }
  return id;
}

std::span<const uint8_t> genl_notice_read(std::span<const uint8_t> message) {
  attribute_header attribute = {};
  if (!read_at(message, HEADERS_SIZE, &attribute) || attribute.length < sizeof attribute ||
      attribute.length > message.size() - HEADERS_SIZE) {
    return {};
  }
  return message.subspan(HEADERS_SIZE + sizeof attribute, attribute.length - sizeof attribute);
}

uint32_t tarn_genl_get_family_id(int socket, const char* family_name) {
  constexpr uint32_t FAILED = 0xFFFFFFFF;
  const int32_t ret =
      tarn_genl_send_msg(socket, TYPE_CONTROLLER, 0, COMMAND_GET_FAMILY, CONTROLLER_VERSION, ATTRIBUTE_FAMILY_NAME,
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
