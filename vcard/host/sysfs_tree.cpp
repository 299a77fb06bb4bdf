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

constexpr const char* power_names[] = {"D0", "D1", "D2", "D3hot"};
constexpr int resource_lines = 13;
constexpr uint64_t memory_64_bit_prefetchable = 0x14220c;

std::string resource_text(const PciFunction& function) {
  std::string text;
  for (int line = 0; line < resource_lines; ++line) {
    bool bar = line == 0 && function.bar_size != 0;
    text += text_of("0x%016" PRIx64 " 0x%016" PRIx64 " 0x%016" PRIx64 "\n", bar ? function.bar_address : 0,
                    bar ? function.bar_address + function.bar_size - 1 : 0, bar ? memory_64_bit_prefetchable : 0);
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

/// The text files of one function, as the kernel writes them.
std::vector<std::pair<std::string, std::string>> text_files(const PciFunction& function) {
  return {
      {"vendor", text_of("0x%04x\n", function.vendor)},
      {"device", text_of("0x%04x\n", function.device)},
      {"class", text_of("0x%06x\n", function.class_code)},
      {"revision", "0x01\n"},
      {"subsystem_vendor", text_of("0x%04x\n", function.subsystem_vendor)},
      {"subsystem_device", text_of("0x%04x\n", function.subsystem_device)},
      {"resource", resource_text(function)},
      {"uevent", uevent_text(function)},
      {"enable", "1\n"},
      {"irq", "0\n"},
      {"numa_node", "-1\n"},
      {"power_state", function.has_power ? text_of("%s\n", power_names[function.power_state]) : "unknown\n"},
  };
}

std::string device_path(const PciFunction& function) {
  return std::string(pci_bus_folder) + "/devices/" + function.sbdf;
}

/// Shows the function bound to its driver, from both sides.
bool driver_link_make(const PciFunction& function, const std::string& bus, const std::string& folder) {
  if (function.driver.empty()) {
    return true;
  }
  std::string driver = bus + "/drivers/" + function.driver;
  std::string bound = driver + "/" + function.sbdf;
  return folder_make(driver) && link_make("../../devices/" + function.sbdf, bound) &&
         link_make("../../drivers/" + function.driver, folder + "/driver");
}

}  // namespace

bool SysfsTree::Changes::leave_out(std::string_view name) const {
  return std::find(absent.begin(), absent.end(), name) != absent.end();
}

SysfsTree::SysfsTree(Card& card, std::string root) : card_(card), root_(std::move(root)) {
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

std::string SysfsTree::device_folder(const PciFunction& function) const {
  return root_ + device_path(function);
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
    good = function_write(card_.functions()[i], changes_[i]) && interface_write(card_.functions()[i], i);
  }
  good = good && folder_make(root_ + net_class_folder + "/lo");
  if (!good) {
    return host_error(exit_failure, "cannot write the sysfs tree: %s", strerror(errno));
  }
  return 0;
}

bool SysfsTree::function_write(const PciFunction& function, const Changes& changes) const {
  std::string folder = device_folder(function);
  bool good = folder_make(folder) && memory_files_write(function, changes) &&
              driver_link_make(function, root_ + pci_bus_folder, folder);
  auto put = [&](const std::string& name, const std::string& text) {
    std::string path = folder + "/" + name;
    good = good && (unlink(path.c_str()) == 0 || errno == ENOENT) && file_write(path, text, 0644);
  };
  if (!function.product_data.empty() && !changes.leave_out("vpd")) {
    put("vpd", std::string(function.product_data.begin(), function.product_data.end()));
  }
  if (function.iommu_group >= 0) {
    good = good && link_make("../../../../kernel/iommu_groups/" + std::to_string(function.iommu_group),
                             folder + "/iommu_group");
  }
  for (const auto& [name, text] : text_files(function)) {
    if (!changes.leave_out(name)) {
      put(name, text);
    }
  }
  for (const auto& [name, text] : changes.files) {
    put(name, text);
  }
  return good;
}

/// The files that both sides map: configuration space and BAR 0.
bool SysfsTree::memory_files_write(const PciFunction& function, const Changes& changes) const {
  std::string storage = storage_folder();
  std::string config = device_folder(function) + "/config";
  std::string bar = device_folder(function) + "/resource0";
  bool good = true;
  if (!changes.leave_out("config")) {
    // A shorter configuration space is a copy: the card's own stays whole.
    std::string source = storage + "/config." + function.sbdf;
    std::string_view bytes(reinterpret_cast<const char*>(function.config.bytes().data()), function.config_size);
    good = function.config_size == config_space_size ? link(source.c_str(), config.c_str()) == 0
                                                     : file_write(config, bytes, 0644);
  }
  if (good && function.bar_size != 0 && !changes.leave_out("resource0")) {
    std::string source = storage + "/bar0";
    good = function.is_card()
               ? link(source.c_str(), bar.c_str()) == 0
               : file_write(bar, "", 0600) && truncate(bar.c_str(), static_cast<off_t>(function.bar_size)) == 0;
  }
  return good;
}

bool SysfsTree::is_bar_file(std::string_view path) const {
  return std::any_of(card_.functions().begin(), card_.functions().end(), [this, path](const PciFunction& function) {
    return function.is_card() && path == device_folder(function) + "/resource0";
  });
}

void SysfsTree::bar_files_renew() const {
  const std::string source = storage_folder() + "/bar0";
  for (const PciFunction& function : card_.functions()) {
    const std::string bar = device_folder(function) + "/resource0";
    if (function.is_card() && unlink(bar.c_str()) == 0) {
      static_cast<void>(!link(source.c_str(), bar.c_str()));
    }
  }
}

bool SysfsTree::interface_write(const PciFunction& function, size_t index) const {
  if (function.interface.empty()) {
    return true;
  }
  std::string path = std::string(net_class_folder) + "/" + function.interface;
  std::string folder = root_ + path;
  std::string net = device_folder(function) + "/net";
  return folder_make(folder) && link_make(device_path(function), folder + "/device") && folder_make(net) &&
         link_make(path, net + "/" + function.interface) &&
         file_write(folder + "/address", text_of("02:1c:f2:00:00:%02zx\n", index), 0644) &&
         file_write(folder + "/ifindex", text_of("%zu\n", index + 2), 0644) &&
         file_write(folder + "/operstate", "up\n", 0644) &&
         file_write(folder + "/uevent", text_of("INTERFACE=%s\nIFINDEX=%zu\n", function.interface.c_str(), index + 2),
                    0644);
}

}  // namespace vcard
