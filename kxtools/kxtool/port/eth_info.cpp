// "dump_eth_info": the interfaces of the cards, as the kernel's directories show them.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "common/report.h"
#include "common/unique_fd.h"
#include "kx_pcie/capability_walk.h"
#include "kx_pcie/config_space.h"
#include "kxtools/card_interfaces.h"
#include "kxtools/dev.h"
#include "port/port.h"
#include "startup/words.h"

namespace {

constexpr const char* NET_CLASS = "/sys/class/net";

// A small file's text; nothing when it cannot be read.
std::string file_text(const std::string& path) {
  char text[4096];
  const kx_unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const ssize_t length = fd ? read(fd.get(), text, sizeof text) : 0;
  return {text, length > 0 ? static_cast<size_t>(length) : 0};
}

// What does not print is '?', nothing is '-'.
std::string printable(std::string text) {
  for (char& c : text) {
    c = c >= ' ' && c <= '~' ? c : '?';
  }
  return text.empty() ? "-" : text;
}

std::string first_line(const std::string& path) {
  const std::string text = file_text(path);
  return printable(text.substr(0, text.find('\n')));
}

// The last part of the link at `path`.
std::string link_name(const std::string& path) {
  char target[512];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  if (length <= 0) {
    return "-";
  }
  const std::string_view text(target, static_cast<size_t>(length));
  return printable(std::string(text.substr(text.rfind('/') + 1)));
}

// What the function is. The kernel's tree of devices tells it of most; for the rest configuration space does, as far as
// the kernel lets this user read it.
const char* kind_text(const std::string& function) {
  if (access((function + "/physfn").c_str(), F_OK) == 0) {
    return "virtual";
  }
  if (access((function + "/sriov_totalvfs").c_str(), F_OK) == 0) {
    return "physical";
  }
  const std::string config = file_text(function + "/config");
  const auto dword = [&config](uint32_t offset, uint32_t* value) {
    if (offset + sizeof *value > config.size()) {
      return -1;
    }
    memcpy(value, config.data() + offset, sizeof *value);
    return 0;
  };
  uint32_t command = 0;
  if (dword(4, &command) != 0) {
    return "unknown";
  }
  if (command == PCIE_NO_CAPABILITY) {
    return "silent";
  }
  const pcie_walk_result sriov =
      pcie_capability_walk(pcie_capability_list::extended, dword,
                           [](uint32_t, uint32_t header) { return (header & 0xFFFF) == PCI_ECAP_ID_SRIOV ? 1 : 0; });
  switch (sriov.end) {
    case pcie_walk_end::found:
      return "physical";
    case pcie_walk_end::failed:
      return "unknown";
    default:
      return "virtual";
  }
}

void interface_print(const kxtools_card_interface& interface) {
  char address[13];
  kxtools_sbdf_text(interface.sbdf, address);
  const std::string function = std::string(KXTOOLS_PCI_DEVICES) + "/" + address;
  const std::string net = std::string(NET_CLASS) + "/" + interface.name;
  const std::string identity = first_line(function + "/vendor") + ":" + first_line(function + "/device");
  kx_print("%-15s %-12s %-13s %-8s %-16s %-17s %s\n", printable(interface.name).c_str(), address, identity.c_str(),
           kind_text(function), link_name(function + "/driver").c_str(), first_line(net + "/address").c_str(),
           first_line(net + "/operstate").c_str());
}

}  // namespace

int kxtool_dump_eth_info(kxtool_cmd_ctx* ctx) {
  if (ctx->argc != 0) {
    kx_print("%s\n", ctx->option->usage);
    kxtool_words_explain(*ctx, {});
    return 1;
  }
  std::vector<kxtools_card_interface> interfaces;
  std::vector<std::string> out_of_reach;
  if (!kxtools_card_interfaces(&interfaces, &out_of_reach)) {
    KXTOOLS_ERR("%s cannot be read\n", NET_CLASS);
    return 1;
  }
  for (const std::string& name : out_of_reach) {
    kx_error_print("%s is left out: the segment of %s is above ffff\n", printable(name).c_str(),
                   link_name(std::string(NET_CLASS) + "/" + name + "/device").c_str());
  }
  if (interfaces.empty()) {
    KXTOOLS_ERR("no network interface of a card\n");
    return 1;
  }
  kx_print("%-15s %-12s %-13s %-8s %-16s %-17s %s\n", "interface", "pci address", "identity", "function", "driver",
           "mac", "state");
  for (const kxtools_card_interface& interface : interfaces) {
    interface_print(interface);
  }
  return 0;
}
