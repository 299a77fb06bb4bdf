// "dump_eth_info": the interfaces of the cards, as the kernel's directories show them.
#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

#include "common/report.h"
#include "common/unique_fd.h"
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

void interface_print(const kxtools_card_interface& interface) {
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
    kxtool_words_explain(*ctx, {});
    return 1;
  }
  std::vector<kxtools_card_interface> interfaces;
  if (!kxtools_card_interfaces(&interfaces)) {
    KXTOOLS_ERR("%s cannot be read\n", NET_CLASS);
    return 1;
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
