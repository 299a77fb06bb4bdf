#include "channel/driver.h"

#include <linux/netlink.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "channel/event.h"
#include "channel/tools_msg.h"
#include "common/report.h"
#include "common/wait.h"
#include "device/interfaces.h"

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

constexpr unsigned long KX_IOCTL_REQUEST = 0x89FD;  // SIOCDEVPRIVATE + 13

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

int32_t send_by_driver(kxtool_device* device, tools_msg* msg, kxtool_msg_status* status) {
  msg->msg_type = KXTOOL_MSG_CARD_REQUEST;
  msg->status = status;
  msg->event_pid = device->event_pid;
  const int ret = kx_send_ioctl(device, msg);
  if (ret < 0) {
    KXTOOLS_ERR("ioctl error,ret=%d!\n", ret);
    return 1;
  }
  if (status->flag != 1) {
    KXTOOLS_ERR("the user message ioctl to kernel failed!\n");
    return 1;
  }
  if (status->channel_result == KXTOOL_CHANNEL_TIMEOUT_BAR || status->channel_result == KXTOOL_CHANNEL_TIMEOUT_VQ) {
    KXTOOLS_ERR("BAR MSG OR VQ MSG ERR: time out, bar_or_vq_chan_ret = %d!\n", status->channel_result);
  }
  return status->channel_result;
}

int32_t driver_send(kxtool_device* device, tools_msg* msg) {
  kxtool_stats.tx_req.fetch_add(1, std::memory_order_relaxed);
  kxtool_msg_status status = {};
  const uint16_t reply_capacity = msg->reply_len;
  const int32_t result = send_by_driver(device, msg, &status);
  msg->status = nullptr;
  // Callers take what stands here for the bytes that they may read.
  if (msg->reply_len > reply_capacity) {
    msg->reply_len = reply_capacity;
  }
  return result;
}

bool driver_open(kxtool_device* device) {
  int32_t ret = tarn_tools_socket_init(device, false);
  if (ret != 0) {
    KXTOOLS_ERR("tarn_tools_socket_init failed, ret=%d!\n", ret);
    return false;
  }
  device->event_pid = static_cast<uint32_t>(getpid());
  ret = tarn_tools_event_info_register(device);
  if (ret != 0) {
    KXTOOLS_ERR("tarn_tools_event_info_register failed, ret=%d!\n", ret);
    return false;
  }
  return tarn_tools_netlink_start(device) == 0;
}

}  // namespace

constinit const kxtool_wire kxtool_driver_wire = {
    .is_exclusive = false,
    .find = kxtools_dev_name2bdf,
    .open = driver_open,
    .send = driver_send,
    .close = tarn_tools_driver_close,
};

int kx_send_ioctl(kxtool_device* device, void* data) {
  device->ifreq.data = data;
  return ioctl(device->ioctl_socket.get(), KX_IOCTL_REQUEST, &device->ifreq);
}

int32_t kxtool_drv_version_check(kxtool_device* device) {
  if (device == nullptr) {
    KXTOOLS_ERR("ctx is NULL!\n");
    return -2;
  }
  const tarn_tools_msg_ptr msg = tarn_tools_alloc_msg(sizeof driver_compat);
  if (!msg) {
    return KXTOOLS_ERR("malloc version_compat failed!\n");
  }
  kxtool_msg_status status = {};
  tarn_tools_msg_request_set(msg.get(), KXTOOL_EVENT_GENERAL, &driver_compat, sizeof driver_compat);
  msg->msg_type = KXTOOL_MSG_DRIVER_COMPAT;
  msg->event_pid = static_cast<uint32_t>(getpid());
  msg->status = &status;
  const int ret = kx_send_ioctl(device, msg.get());
  if (ret < 0) {
    return KXTOOLS_ERR("ioctl error, ret = %d!\n", ret);
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
    return KXTOOLS_ERR("Cannot get ioctl socket!\n");
  }
  if (kxtool_drv_version_check(device) != 0) {
    return KXTOOLS_ERR("kxtool_drv_version_check fail!\n");
  }
  device->netlink_socket.reset(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC));
  if (!device->netlink_socket) {
    return KXTOOLS_ERR("Cannot get generic netlink socket!\n");
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
