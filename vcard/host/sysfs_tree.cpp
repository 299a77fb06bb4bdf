#include "host/sysfs_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>

#include "host/room.h"
#include "host/status.h"
#include "host/unique_fd.h"

namespace vcard {

namespace {

__attribute__((format(printf, 1, 2))) std::string text_of(const char* format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

bool folder_make(const std::string& path) {
  return mkdir(path.c_str(), 0755) == 0 || errno == EEXIST;
}

bool file_write(const std::string& path, std::string_view text, mode_t mode) {
  UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
  return file && write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

bool link_make(const std::string& target, const std::string& path) {
  return symlink(target.c_str(), path.c_str()) == 0 || errno == EEXIST;
}

/// BAR 0 is prefetchable, so there is a file for mapping it write-combined too.
constexpr const char* bar_files[] = {"resource0", "resource0_wc"};
/// As much of configuration space as the kernel lets an ordinary user read.
constexpr size_t ordinary_user_config = 64;

constexpr const char* power_names[] = {"D0", "D1", "D2", "D3hot"};
constexpr int resource_lines = 13;
constexpr int bridge_resource_lines = 17;
constexpr int vf_bar_line = 7;
constexpr uint64_t memory_64_bit_prefetchable = 0x14220c;

std::string resource_text(const PciFunction& function) {
  std::string text;
  const int lines = function.kind == FunctionKind::card_switch ? bridge_resource_lines : resource_lines;
  for (int line = 0; line < lines; ++line) {
    const bool vfs = line == vf_bar_line && function.kind == FunctionKind::physical;
    const bool bar = (line == 0 || vfs) && function.bar_size != 0;
    const uint64_t start = vfs ? function.vf_bar_address() : function.bar_address;
    const uint64_t size = vfs ? function.bar_size * function.vf_total : function.bar_size;
    text += text_of("0x%016" PRIx64 " 0x%016" PRIx64 " 0x%016" PRIx64 "\n", bar ? start : 0, bar ? start + size - 1 : 0,
                    bar ? memory_64_bit_prefetchable : 0);
  }
  return text;
}

std::string uevent_text(const PciFunction& function) {
  std::string driver = function.driver.empty() ? "" : "DRIVER=" + function.driver + "\n";
  return driver + text_of(
                      "PCI_CLASS=%X\nPCI_ID=%04X:%04X\nPCI_SUBSYS_ID=%04X:%04X\nPCI_SLOT_NAME=%s\n"
                      "MODALIAS=pci:v%08Xd%08Xsv%08Xsd%08Xbc%02Xsc%02Xi%02X\n",
                      function.class_code, function.vendor, function.device, function.subsystem_vendor,
                      function.subsystem_device, function.sbdf.c_str(), function.vendor, function.device,
                      function.subsystem_vendor, function.subsystem_device, function.class_code >> 16,
                      function.class_code >> 8 & 0xff, function.class_code & 0xff);
}

struct TextFile {
  std::string name;
  std::string text;
  mode_t mode;
};

/// The text files of one function, as the kernel writes them.
std::vector<TextFile> text_files(const PciFunction& function) {
  std::vector<TextFile> files = {
      {"vendor", text_of("0x%04x\n", function.vendor), 0444},
      {"device", text_of("0x%04x\n", function.device), 0444},
      {"class", text_of("0x%06x\n", function.class_code), 0444},
      {"revision", "0x01\n", 0444},
      {"subsystem_vendor", text_of("0x%04x\n", function.subsystem_vendor), 0444},
      {"subsystem_device", text_of("0x%04x\n", function.subsystem_device), 0444},
      {"resource", resource_text(function), 0444},
      {"uevent", uevent_text(function), 0644},
      {"enable", "1\n", 0644},
      {"irq", "0\n", 0444},
      {"numa_node", "-1\n", 0644},
      {"power_state", function.has_power ? text_of("%s\n", power_names[function.power_state]) : "unknown\n", 0444},
      {"remove", "", 0220},
  };
  if (function.kind == FunctionKind::physical) {
    files.push_back({"sriov_totalvfs", text_of("%u\n", function.vf_total), 0444});
    files.push_back({"sriov_numvfs", text_of("%u\n", function.state.vfs_on), 0644});
  }
  if (function.is_card() && function.state.reset_capable) {
    files.push_back({"reset", "", 0200});
    files.push_back({"reset_method", "flr\n", 0644});
  }
  return files;
}

constexpr const char* tree_folder = "/.devices";

/// The functions lie in each other's folders as the buses do: the card's functions below the switch above their bus.
std::string place_of(const std::vector<PciFunction>& functions, const PciFunction& function) {
  unsigned segment = 0, bus = 0;
  sscanf(function.sbdf.c_str(), "%x:%x", &segment, &bus);
  for (const PciFunction& port : functions) {
    unsigned port_segment = 0, port_bus = 0;
    sscanf(port.sbdf.c_str(), "%x:%x", &port_segment, &port_bus);
    if (port.kind == FunctionKind::card_switch && &port != &function && port_segment == segment &&
        port_bus + 1 == bus) {
      return place_of(functions, port) + "/" + function.sbdf;
    }
  }
  return text_of("/pci%04x:%02x/", segment, bus) + function.sbdf;
}

/// The way from a folder of the tree up to the PCI bus folder, with a slash at its end.
std::string way_up(const std::string& place) {
  std::string way = "../";
  for (const char c : place) {
    way += c == '/' ? "../" : "";
  }
  return way;
}

bool folders_make(const std::string& path) {
  bool good = true;
  for (size_t end = path.find('/', 1); good && end != std::string::npos; end = path.find('/', end + 1)) {
    good = folder_make(path.substr(0, end));
  }
  return good && folder_make(path);
}

}  // namespace

bool SysfsTree::Changes::leave_out(std::string_view name) const {
  return std::find(absent.begin(), absent.end(), name) != absent.end();
}

SysfsTree::SysfsTree(Card& card, std::string root)
    : card_(card), root_(std::move(root)), ordinary_user_(card.file().section("host").flag("ordinary_user", false)) {
  CardSection functions = card.file().section("functions");
  for (const PciFunction& function : card.functions()) {
    Changes changes;
    if (functions.has(function.sbdf.c_str())) {
      CardSection section = functions.section(function.sbdf.c_str());
      changes.absent = section.texts("absent_files", {});
      CardSection files = section.section("files");
      for (const std::string& name : files.keys()) {
        if (name.empty() || name[0] == '.' || name.find('/') != std::string::npos) {
          files.complain(name, "not a file name");
          continue;
        }
        changes.files.emplace_back(name, files.text(name.c_str(), ""));
      }
    }
    changes_.push_back(std::move(changes));
  }
}

std::string SysfsTree::storage_folder() const {
  return root_ + pci_bus_folder + "/.card";
}

int SysfsTree::prepare() {
  if (!folder_make(storage_folder())) {
    return host_error(exit_failure, "cannot make %s: %s", storage_folder().c_str(), strerror(errno));
  }
  return 0;
}

int SysfsTree::write() {
  std::string bus = root_ + pci_bus_folder;
  bool good = folder_make(bus + "/devices") && folder_make(bus + "/drivers") && folder_make(bus + "/slots");
  for (size_t i = 0; good && i < card_.functions().size(); ++i) {
    good = function_write(card_.functions()[i], changes_[i]) && links_write(card_.functions()[i]) &&
           interface_write(card_.functions()[i], i);
  }
  good = good && folder_make(root_ + net_class_folder + "/lo");
  if (!good) {
    return host_error(exit_failure, "cannot write the sysfs tree: %s", strerror(errno));
  }
  return 0;
}

std::string SysfsTree::place(const PciFunction& function) const {
  return place_of(card_.functions(), function);
}

std::string SysfsTree::device_folder(const PciFunction& function) const {
  return root_ + pci_bus_folder + tree_folder + place(function);
}

bool SysfsTree::function_write(const PciFunction& function, const Changes& changes) const {
  std::string folder = device_folder(function);
  bool good = folders_make(folder) && memory_files_write(function, changes);
  auto put = [&](const std::string& name, const std::string& text, mode_t mode) {
    std::string path = folder + "/" + name;
    good = good && (unlink(path.c_str()) == 0 || errno == ENOENT) && file_write(path, text, mode);
  };
  if (!function.product_data.empty() && !changes.leave_out("vpd")) {
    put("vpd", std::string(function.product_data.begin(), function.product_data.end()), 0600);
  }
  for (const TextFile& file : text_files(function)) {
    if (!changes.leave_out(file.name)) {
      put(file.name, file.text, file.mode);
    }
  }
  for (const auto& [name, text] : changes.files) {
    put(name, text, 0644);
  }
  return good;
}

/// What leads to the function and from it to its kin, its driver and its group.
bool SysfsTree::links_write(const PciFunction& function) const {
  const std::string folder = device_folder(function);
  const std::string up = way_up(place(function));
  const std::string from_bus = std::string("..") + tree_folder + place(function);
  bool good = link_make(from_bus, root_ + pci_bus_folder + "/devices/" + function.sbdf) &&
              link_make(up + "../pci", folder + "/subsystem");
  if (!function.driver.empty()) {
    const std::string driver = root_ + pci_bus_folder + "/drivers/" + function.driver;
    good = good && folder_make(driver) && link_make("../" + from_bus, driver + "/" + function.sbdf) &&
           link_make(up + "drivers/" + function.driver, folder + "/driver");
  }
  if (function.iommu_group >= 0) {
    good = good &&
           link_make(up + "../../kernel/iommu_groups/" + std::to_string(function.iommu_group), folder + "/iommu_group");
  }
  int number = 0;
  for (const PciFunction& other : card_.functions()) {
    if (other.physical == function.sbdf) {
      good = good && link_make("../" + other.sbdf, folder + "/virtfn" + std::to_string(number++));
    }
  }
  return good && (function.physical.empty() || link_make("../" + function.physical, folder + "/physfn"));
}

/// The files that both sides map: configuration space and BAR 0.
bool SysfsTree::memory_files_write(const PciFunction& function, const Changes& changes) const {
  const std::string storage = storage_folder();
  const std::string config = device_folder(function) + "/config";
  bool good = true;
  if (!changes.leave_out("config")) {
    // A shorter configuration space is a copy: the card's own stays whole.
    const size_t size = ordinary_user_ ? std::min<size_t>(function.config_size, ordinary_user_config)
                                       : static_cast<size_t>(function.config_size);
    std::string source = storage + "/config." + function.sbdf;
    std::string_view bytes(reinterpret_cast<const char*>(function.config.bytes().data()), size);
    good = size == config_space_size ? link(source.c_str(), config.c_str()) == 0 && chmod(config.c_str(), 0644) == 0
                                     : file_write(config, bytes, ordinary_user_ ? 0444 : 0644);
  }
  for (const char* name : bar_files) {
    const std::string bar = device_folder(function) + "/" + name;
    if (!good || function.bar_size == 0 || changes.leave_out(name)) {
      continue;
    }
    if (ordinary_user_) {
      good = file_write(bar, "", 0000) && truncate(bar.c_str(), static_cast<off_t>(function.bar_size)) == 0;
    } else if (function.is_card()) {
      good = link((storage + "/bar0").c_str(), bar.c_str()) == 0;
    } else {
      good = file_write(bar, "", 0600) && truncate(bar.c_str(), static_cast<off_t>(function.bar_size)) == 0;
    }
  }
  return good;
}

bool SysfsTree::is_below(std::string_view path) const {
  return path.starts_with(root_ + pci_bus_folder + tree_folder);
}

bool SysfsTree::is_bar_file(std::string_view path) const {
  return std::ranges::any_of(card_.functions(), [this, path](const PciFunction& function) {
    return function.is_card() && std::ranges::any_of(bar_files, [&](const char* name) {
             return path == device_folder(function) + "/" + name;
           });
  });
}

void SysfsTree::bar_files_renew() const {
  const std::string source = storage_folder() + "/bar0";
  for (const PciFunction& function : card_.functions()) {
    for (const char* name : bar_files) {
      const std::string bar = device_folder(function) + "/" + name;
      if (function.is_card() && unlink(bar.c_str()) == 0) {
        static_cast<void>(!link(source.c_str(), bar.c_str()));
      }
    }
  }
}

int SysfsTree::control_write(std::string_view path, std::string_view text) {
  for (PciFunction& function : card_.functions()) {
    const std::string folder = device_folder(function);
    const bool resets = path == folder + "/reset";
    if (!resets && path != folder + "/remove") {
      continue;
    }
    if (text != "1" && text != "1\n") {
      return EINVAL;
    }
    if (resets) {
      return card_.kernel_reset(function) ? 0 : ENOTTY;
    }
    function_remove(function);
    return 0;
  }
  return -1;
}

/// The function leaves the kernel's view and the bus.
void SysfsTree::function_remove(PciFunction& function) const {
  const std::string bus = root_ + pci_bus_folder;
  unlink((bus + "/devices/" + function.sbdf).c_str());
  unlink((bus + "/drivers/" + function.driver + "/" + function.sbdf).c_str());
  unlink((root_ + net_class_folder + "/" + function.interface).c_str());
  std::error_code ignored;
  std::filesystem::remove_all(device_folder(function), ignored);
  std::ranges::fill(function.config.bytes(), uint8_t{0xff});
}

bool SysfsTree::interface_write(const PciFunction& function, size_t index) const {
  if (function.interface.empty()) {
    return true;
  }
  const std::string place_of_interface = place(function) + "/net/" + function.interface;
  const std::string folder = root_ + pci_bus_folder + tree_folder + place_of_interface;
  return folders_make(folder) && link_make("../../../" + function.sbdf, folder + "/device") &&
         link_make("../../bus/pci" + std::string(tree_folder) + place_of_interface,
                   root_ + net_class_folder + "/" + function.interface) &&
         file_write(folder + "/address", text_of("02:1c:f2:00:00:%02zx\n", index), 0444) &&
         file_write(folder + "/ifindex", text_of("%zu\n", index + 2), 0444) &&
         file_write(folder + "/operstate", "up\n", 0444) &&
         file_write(folder + "/uevent", text_of("INTERFACE=%s\nIFINDEX=%zu\n", function.interface.c_str(), index + 2),
                    0644);
}

}  // namespace vcard
