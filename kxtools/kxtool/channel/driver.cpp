#include "channel/driver.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "channel/tools_msg.h"
#include "common/report.h"
#include "common/wait.h"

namespace {

/// The driver's interface version, as it writes it.
struct kxtool_drv_compat {
  uint8_t item;
  uint8_t major;
  uint8_t tool_minor;
  uint8_t drv_minor;
  uint32_t detail;  // not examined
};
static_assert(sizeof(kxtool_drv_compat) == 8);

constexpr kxtool_drv_compat TOOL_COMPAT = {};

constexpr kx_wait_limit REGISTER_LIMIT = {.step_us = 10000, .looks = 100};

// Where the driver writes: process-wide, so that they outlive every exchange.
kxtool_drv_compat driver_compat;
uint32_t event_check;

int32_t driver_compat_check(const kxtool_drv_compat& driver) {
  if (driver.item != TOOL_COMPAT.item) {
    KXTOOLS_ERR("version_compat_item is not kxtool!\n");
    return -3;
  }
  if (driver.major != TOOL_COMPAT.major) {
    KXTOOLS_ERR("tool major:%hhu is not match drv:%hhu!\n", TOOL_COMPAT.major, driver.major);
    return -3;
  }
  if (TOOL_COMPAT.drv_minor > driver.drv_minor) {
    KXTOOLS_ERR("tool drv_minor:%hhu is higher than drv:%hhu!\n", TOOL_COMPAT.drv_minor, driver.drv_minor);
    return -3;
  }
  if (TOOL_COMPAT.tool_minor < driver.tool_minor) {
    KXTOOLS_ERR("tool tool_minor:%hhu is lower than drv:%hhu!\n", TOOL_COMPAT.tool_minor, driver.tool_minor);
    return -3;
  }
  return 0;
}

}  // namespace

int32_t kxtool_drv_version_check(kxtool_device* device) {
  if (device == nullptr) {
    KXTOOLS_ERR("ctx is NULL!\n");
    return -2;
  }
  const tarn_tools_msg_ptr msg = tarn_tools_alloc_msg(sizeof driver_compat);
  if (!msg) {
    KXTOOLS_ERR("malloc version_compat failed!\n");
    return -1;
  }
  kxtool_msg_status status = {};
  tarn_tools_msg_request_set(msg.get(), KXTOOL_EVENT_GENERAL, &driver_compat, sizeof driver_compat);
  msg->msg_type = KXTOOL_MSG_DRIVER_COMPAT;
  msg->event_pid = static_cast<uint32_t>(getpid());
  msg->status = &status;
  const int ret = kx_send_ioctl(device, msg.get());
  if (ret < 0) {
    KXTOOLS_ERR("ioctl error, ret = %d!\n", ret);
    return -1;
  }
  if (status.flag > 1) {
    KXTOOLS_ERR("kxtool_kernel_version msg ioctl to kernel failed! ERROR:%d!\n", static_cast<int>(status.flag));
    return -3;
  }
  if (status.flag == 0) {
    KXTOOLS_ERR("Warning: No driver compatibility information available!\n");
    driver_compat = {};
  }
  return driver_compat_check(driver_compat);
}

int32_t tarn_tools_socket_init(kxtool_device* device, bool no_device) {
  if (no_device) {
    device->ioctl_socket.reset();
    return 1;
  }
  const size_t length = strlen(device->name);
  if (length > KXTOOL_IF_NAME_MAX) {
    KXTOOLS_ERR("Device name longer than %u characters\n", KXTOOL_IF_NAME_MAX);
    return 1;
  }
  memset(device->ifreq.name, 0, sizeof device->ifreq.name);
  memcpy(device->ifreq.name, device->name, length);
  device->ioctl_socket.reset(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!device->ioctl_socket) {
    KXTOOLS_ERR("Cannot get ioctl socket!\n");
    return -1;
  }
  if (kxtool_drv_version_check(device) != 0) {
    KXTOOLS_ERR("kxtool_drv_version_check fail!\n");
    return -1;
  }
  device->netlink_socket.reset(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC));
  if (!device->netlink_socket) {
    KXTOOLS_ERR("Cannot get generic netlink socket!\n");
    return -1;
  }
  return 0;
}

int32_t tarn_tools_event_info_register(kxtool_device* device) {
  const tarn_tools_msg_ptr msg = tarn_tools_alloc_msg(0);
  if (!msg) {
    KXTOOLS_ERR("malloc event_info failed!\n");
    return 1;
  }
  kxtool_msg_status status = {};
  tarn_tools_msg_request_set(msg.get(), KXTOOL_EVENT_GENERAL, &event_check, sizeof event_check);
  msg->msg_type = KXTOOL_MSG_EVENT_REGISTER;
  msg->event_pid = device->event_pid;
  msg->status = &status;
  // Busy is also a registration whose tool is just ending: the driver learns of that later than the lock's next holder.
  int ret = 0;
  kx_wait(REGISTER_LIMIT, [&] {
    ret = kx_send_ioctl(device, msg.get());
    return ret < 0 && errno == EBUSY ? kx_look::busy : kx_look::done;
  });
  if (ret < 0) {
    const int error = errno;
    KXTOOLS_ERR("ioctl error, first, check if the driver of %s is corvane10e, ret=%d, errno = %d!\n", device->name, ret,
                error);
    KXTOOLS_ERR("if so, check if kxtool with the %s is running, not allowed another!\n", device->name);
    return 1;
  }
  if (status.flag != 1) {
    KXTOOLS_ERR("the event_pid %d  of event_id %d ioctl to kernel failed!\n", static_cast<int>(device->event_pid),
                static_cast<int>(KXTOOL_EVENT_GENERAL));
    return 1;
  }
  return kxtool_pcieid_send_ostype_get(device, event_check);
}
