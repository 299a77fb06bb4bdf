// "dump_eth_info": the interfaces of the cards, as the kernel's directories show them.
#include <unistd.h>

#include <string>
#include <vector>

#include "common/little_endian.h"
#include "common/printable.h"
#include "common/report.h"
#include "device/interfaces.h"
#include "device/sysfs.h"
#include "kx_pcie/capability_walk.h"
#include "port/port.h"
#include "startup/words.h"

namespace {

// What does not print is '?', nothing is '-'.
std::string shown(const std::string& text) {
  return text.empty() ? "-" : kx_printable(text);
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
  const std::string config = kxtools_file_text(function + "/config");
  const auto dword = [&config](uint32_t offset, uint32_t* value) {
    if (offset + sizeof *value > config.size()) {
      return -1;
    }
    *value = kx_le_get<uint32_t>({reinterpret_cast<const uint8_t*>(config.data()), config.size()}, offset);
    return 0;
  };
  uint32_t command = 0;
  if (dword(PCI_COMMAND, &command) != 0) {
    return "unknown";
  }
  if (pcie_is_silence(command)) {
    return "silent";
  }
  switch (pcie_ext_capability_walk(dword, PCI_EXT_CAP_ID_SRIOV, 0).end) {
    case pcie_walk_end::found:
      return "physical";
    case pcie_walk_end::failed:
      return "unknown";
    default:
      return "virtual";
  }
}

void interface_print(const kxtools_card_interface& interface) {
  const std::string function = kxtools_function_path(interface.sbdf);
  const std::string net = std::string(KXTOOLS_NET_CLASS) + "/" + interface.name;
  const std::string identity =
      shown(kxtools_file_line(function + "/vendor")) + ":" + shown(kxtools_file_line(function + "/device"));
  kx_print("%-15s %-12s %-13s %-8s %-16s %-17s %s\n", shown(interface.name).c_str(),
           kxtools_sbdf_text(interface.sbdf).text, identity.c_str(), kind_text(function),
           shown(kxtools_link_name(function + "/driver")).c_str(), shown(kxtools_file_line(net + "/address")).c_str(),
           shown(kxtools_file_line(net + "/operstate")).c_str());
}

}  // namespace

const char kxtool_dump_eth_info_usage[] = R"(    COMMAND:
        dump_eth_info
    SYNOPSIS:
        kxtool dump_eth_info
    DESCRIPTION:
        Lists the network interfaces of all cards of this host: PCI address, identity, physical or virtual
        function (silent: it does not answer; unknown: the kernel does not let this user see it), driver, MAC
        address and state. Nothing on a card is changed.
    EXIT STATUS:
        0 listed, 1 no card of this host has an interface
    EXAMPLES:
        kxtool dump_eth_info)";

int kxtool_dump_eth_info(kxtool_cmd_ctx* ctx) {
  if (ctx->argc != 0) {
    kx_print("%s\n", ctx->option->usage);
    kxtool_words_explain(*ctx, {});
    return 1;
  }
  std::vector<kxtools_card_interface> interfaces;
  std::vector<std::string> out_of_reach;
  if (!kxtools_card_interfaces(&interfaces, &out_of_reach)) {
    KXTOOLS_ERR("%s cannot be read\n", KXTOOLS_NET_CLASS);
    return 1;
  }
  for (const std::string& name : out_of_reach) {
    kx_error_print("%s is left out: the segment of %s is above ffff\n", shown(name).c_str(),
                   shown(kxtools_link_name(std::string(KXTOOLS_NET_CLASS) + "/" + name + "/device")).c_str());
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
