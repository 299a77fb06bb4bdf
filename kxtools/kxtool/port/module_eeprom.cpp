#include "port/module_eeprom.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/report.h"
#include "common/unique_fd.h"

namespace {

// What is decoded lies in the first two pages.
constexpr uint32_t EEPROM_MAX = 512;

int ethtool_ioctl(int socket, const char* interface, void* command) {
  struct ifreq request = {};
  strncpy(request.ifr_name, interface, sizeof request.ifr_name - 1);
  request.ifr_data = static_cast<char*>(command);
  return ioctl(socket, SIOCETHTOOL, &request) < 0 ? errno : 0;
}

void failure_report(const char* interface, int error) {
  switch (error) {
    case ENXIO:
    case ENODEV:
      KXTOOLS_ERR("%s: no module is plugged in\n", interface);
      break;
    case EOPNOTSUPP:
      KXTOOLS_ERR("%s: its driver cannot read modules\n", interface);
      break;
    default:
      KXTOOLS_ERR("%s: the module cannot be read: %s\n", interface, strerror(error));
      break;
  }
}

}  // namespace

int module_eeprom_ask(const char* interface, std::vector<uint8_t>* eeprom) {
  const kx_unique_fd socket_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket_fd) {
    return errno;
  }
  struct ethtool_modinfo information = {};
  information.cmd = ETHTOOL_GMODULEINFO;
  int error = ethtool_ioctl(socket_fd.get(), interface, &information);
  if (error != 0) {
    return error;
  }
  const uint32_t length = std::min<uint32_t>(information.eeprom_len, EEPROM_MAX);
  // The bytes follow the command's header.
  std::vector<uint8_t> memory(sizeof(struct ethtool_eeprom) + EEPROM_MAX);
  struct ethtool_eeprom header = {};
  header.cmd = ETHTOOL_GMODULEEEPROM;
  header.len = length;
  memcpy(memory.data(), &header, sizeof header);
  error = length == 0 ? 0 : ethtool_ioctl(socket_fd.get(), interface, memory.data());
  if (error != 0) {
    return error;
  }
  memcpy(&header, memory.data(), sizeof header);
  const auto first = memory.begin() + sizeof header;
  eeprom->assign(first, first + std::min(header.len, length));
  return 0;
}

int32_t module_eeprom_read(const char* interface, std::vector<uint8_t>* eeprom) {
  const int error = module_eeprom_ask(interface, eeprom);
  if (error != 0) {
    failure_report(interface, error);
    return -1;
  }
  return 0;
}
