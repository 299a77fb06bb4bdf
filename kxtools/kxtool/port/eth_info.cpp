// "dump_eth_info": the interfaces of the cards, as the kernel's directories show them.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/report.h"
#include "common/unique_fd.h"
#include "kx_pcie/config_space.h"
#include "kxtools/dev.h"
#include "port/port.h"

namespace {

constexpr const char* NET_CLASS = "/sys/class/net";
constexpr const char* SLOT_NAME = "PCI_SLOT_NAME=";

struct card_interface {
  std::string name;
  kxtools_sbdf sbdf;
};

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

// The PCI address behind an interface. False for interfaces of no PCI function.
bool slot_get(const std::string& interface, kxtools_sbdf* sbdf) {
  const std::string text = file_text(std::string(NET_CLASS) + "/" + interface + "/device/uevent");
  const size_t start = text.starts_with(SLOT_NAME) ? 0 : text.find(std::string("\n") + SLOT_NAME);
  if (start == std::string::npos) {
    return false;
  }
  const size_t value = text.find('=', start) + 1;
  return pcie_sbdf_parse(sbdf, text.substr(value, text.find('\n', value) - value).c_str()) == 0;
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

bool interfaces_find(std::vector<card_interface>* interfaces) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(NET_CLASS), closedir);
  if (folder == nullptr) {
    return false;
  }
  while (const struct dirent* entry = readdir(folder.get())) {
    card_interface interface = {entry->d_name, KXTOOLS_SBDF_NONE};
    if (entry->d_name[0] != '.' && slot_get(interface.name, &interface.sbdf) && sbdf_valid_check(interface.sbdf) == 0) {
      interfaces->push_back(std::move(interface));
    }
  }
  std::sort(interfaces->begin(), interfaces->end(), [](const card_interface& a, const card_interface& b) {
    return a.sbdf != b.sbdf ? a.sbdf < b.sbdf : a.name < b.name;
  });
  return true;
}

void interface_print(const card_interface& interface) {
  char address[13];
  kxtools_sbdf_text(interface.sbdf, address);
  const std::string function = std::string(KXTOOLS_PCI_DEVICES) + "/" + address;
  const std::string net = std::string(NET_CLASS) + "/" + interface.name;
  const bool physical = pcie_find_ext_capability(interface.sbdf, PCI_ECAP_ID_SRIOV, 0) > 0;
  const std::string identity = first_line(function + "/vendor") + ":" + first_line(function + "/device");
  kx_print("%-15s %-12s %-13s %-8s %-16s %-17s %s\n", printable(interface.name).c_str(), address, identity.c_str(),
           physical ? "physical" : "virtual", link_name(function + "/driver").c_str(),
           first_line(net + "/address").c_str(), first_line(net + "/operstate").c_str());
}

}  // namespace

int kxtool_dump_eth_info(kxtool_cmd_ctx* ctx) {
  if (ctx->argc != 0) {
    kx_print("%s\n", ctx->option->usage);
    return 1;
  }
  std::vector<card_interface> interfaces;
  if (!interfaces_find(&interfaces)) {
    KXTOOLS_ERR("%s cannot be read\n", NET_CLASS);
    return 1;
  }
  if (interfaces.empty()) {
    KXTOOLS_ERR("no network interface of a card\n");
    return 1;
  }
  kx_print("%-15s %-12s %-13s %-8s %-16s %-17s %s\n", "interface", "pci address", "identity", "function", "driver",
           "mac", "state");
  for (const card_interface& interface : interfaces) {
    interface_print(interface);
  }
  return 0;
}
