// The thread that receives the card's notices from the kernel driver.
#include <linux/netlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "channel/driver.h"
#include "channel/event.h"
#include "channel/thread.h"
#include "common/report.h"
#include "common/wait.h"
#include "genl.h"

namespace {

constexpr const char* FAMILY_NAME = "tools_family";
constexpr uint32_t READY_LOOKS_MAX = 20000;
// One more than those that print nothing, and one before the first sleep.
constexpr kx_wait_limit READY_LIMIT = {.step_us = 1000, .looks = READY_LOOKS_MAX + 2};
// A socket that fails for good must not cost a processor and a flood of lines.
constexpr useconds_t RECEIVE_RETRY_US = 10000;

// Set by the receive thread once the family is resolved, read by start-up.
std::atomic<bool> receive_ready = false;

// Hands one message on. False for one that ends the thread.
bool message_process(std::span<const uint8_t> received, uint32_t family_id) {
  uint16_t type = 0;
  std::span<const uint8_t> message;
  if (genl_header_read(received, &type, &message) != genl_header::good) {
    kxtool_notice_deafness_set("the notice receiver ended at a malformed netlink message");
    return false;
  }
  if (family_id == 0 || type != family_id) {
    KXTOOLS_ERR("the msg of family_id %d not recvived!\n", type);
    kxtool_notice_deafness_set("the notice receiver ended at a netlink message of another family");
    return false;
  }
  const std::span<const uint8_t> notice = genl_notice_read(message);
  uint32_t op_code = 0;
  if (!kxtool_event_dispatch(notice.data(), static_cast<uint32_t>(notice.size()), &op_code)) {
    KXTOOLS_ERR("No information of corresponding op code %d !\n", static_cast<int>(op_code));
  }
  return true;
}

// A socket without its address still resolves the family, but the driver's notices go to the address.
void own_address_bind(int socket, uint32_t port) {
  sockaddr_nl own = {};
  own.nl_family = AF_NETLINK;
  own.nl_pid = port;
  if (bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
    static char reason[128];
    snprintf(reason, sizeof reason, "the netlink socket cannot be bound: %s", strerror(errno));
    KXTOOLS_ERR("bind() error!\n");
    kxtool_notice_deafness_set(reason);
  }
}

// Set by the command's thread for the receive thread to end, and by that when it has; without a descriptor it runs for
// ever, and a socket that a thread reads from does not close.
std::atomic<int> stop_event = -1;
std::atomic<bool> receiver_runs = false;
constexpr kx_wait_limit END_LIMIT = {.step_us = 100, .looks = 2000};

void receive_thread(void* device) {
  tarn_tools_netlink_recv_msg(static_cast<kxtool_device*>(device));
  receiver_runs = false;
}

// False when the receiver shall end.
bool message_wait(int socket) {
  struct pollfd events[] = {{socket, POLLIN, 0}, {stop_event, POLLIN, 0}};
  while (poll(events, std::size(events), -1) < 0 && errno == EINTR) {
  }
  return events[1].revents == 0;
}

}  // namespace

void tarn_tools_netlink_recv_msg(kxtool_device* device) {
  const int socket = device->netlink_socket.get();
  own_address_bind(socket, device->event_pid);
  const uint32_t family_id = tarn_genl_get_family_id(socket, FAMILY_NAME);
  if (family_id == 0xFFFFFFFF) {
    KXTOOLS_ERR("Get family_id of generic netlink failed, family_id=%d!\n", static_cast<int>(family_id));
    return;
  }
  if (family_id == 0) {
    kxtool_notice_deafness_set("the kernel names no number of the driver's notice family");
  }
  receive_ready = true;
  uint8_t buffer[GENL_BUFFER_SIZE];
  while (message_wait(socket)) {
    const ssize_t count = recv(socket, buffer, sizeof buffer, 0);
    if (count < 0) {
      KXTOOLS_ERR("stat->rx_pkt = %u, errno = %d\n", kxtool_stats.rx_pkt.load(), errno);
      usleep(RECEIVE_RETRY_US);
      continue;
    }
    kxtool_stats.rx_pkt.fetch_add(1, std::memory_order_relaxed);
    if (!message_process({buffer, static_cast<size_t>(count)}, family_id)) {
      return;
    }
  }
}

int32_t tarn_tools_netlink_start(kxtool_device* device) {
  stop_event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  receiver_runs = true;
  if (!kxtool_thread_start(receive_thread, device)) {
    receiver_runs = false;
    return MTS_ERR("Error creating recv msg thread !\n");
  }
  if (kx_wait(READY_LIMIT, [] { return receive_ready ? kx_look::done : kx_look::again; }) != kx_waited::done) {
    return MTS_ERR("wait_recv_ready_time = %d\n", READY_LOOKS_MAX + 1);
  }
  return 0;
}

void tarn_tools_driver_close(kxtool_device* device) {
  if (receiver_runs && eventfd_write(stop_event, 1) == 0) {
    kx_wait(END_LIMIT, [] { return receiver_runs ? kx_look::again : kx_look::done; });
  }
  device->netlink_socket.reset();
  device->ioctl_socket.reset();
}
