#include "vcard/pci_function.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "config_writer.h"
#include "product_data.h"

namespace vcard {

namespace {

constexpr const char* kind_names[] = {"physical", "virtual", "switch", "foreign"};

struct DefaultFunction {
  const char* sbdf;
  FunctionKind kind;
  uint16_t vendor;
  uint16_t device;
  uint32_t class_code;
  const char* interface;
  const char* driver;
  uint64_t bar_address;
};

constexpr DefaultFunction default_functions[] = {
    {"0000:00:1f.6", FunctionKind::foreign, 0x8086, 0x15bb, 0x020000, "eno1", "e1000e", 0xe1000000},
    {"0000:3a:00.0", FunctionKind::card_switch, 0x1cf2, 0x8036, 0x060400, "", "pcieport", 0},
    {"0000:3b:00.0", FunctionKind::physical, 0x1cf2, 0x8037, 0x020000, "eth0", card_driver, 0x380000000000},
    {"0000:3b:00.1", FunctionKind::physical, 0x1af4, 0x1041, 0x020000, "eth1", card_driver, 0x380010000000},
    {"0000:3b:01.0", FunctionKind::virtual_function, 0x1cf2, 0x8040, 0x020000, "eth2", card_driver, 0x380020000000},
};

bool sbdf_is_valid(const std::string& text) {
  unsigned segment, bus, device, function;
  char canonical[24];
  if (sscanf(text.c_str(), "%8x:%2x:%2x.%1x", &segment, &bus, &device, &function) != 4) {
    return false;
  }
  snprintf(canonical, sizeof canonical, "%04x:%02x:%02x.%x", segment, bus & 0xff, device & 0x1f, function & 7);
  return text == canonical;
}

/// A name that the function's folders are made of.
std::string folder_name(const CardSection& section, const char* key, const std::string& fallback, size_t max_length) {
  std::string name = section.text(key, fallback, max_length);
  if (name == "." || name == ".." || name.find('/') != std::string::npos) {
    section.complain(key, "not a name");
    return fallback;
  }
  return name;
}

/// Bytes of the configuration space by offset.
void config_bytes_load(PciFunction& function, const CardSection& section) {
  for (const std::string& key : section.keys()) {
    const Bytes bytes = section.bytes(key.c_str(), {});
    char* end = nullptr;
    const size_t at = strtoul(key.c_str(), &end, 0);
    if (*end != '\0' || at > config_space_size || bytes.size() > config_space_size - at) {
      section.complain(key, "not a place in configuration space");
      continue;
    }
    function.config_bytes.emplace_back(at, bytes);
  }
}

Bytes header_log_of(const CardSection& section) {
  Bytes log = section.bytes("header_log", {}, 16);
  log.resize(16);
  return log;
}

void state_load(PciFunction& function, const CardSection& section) {
  PciState& state = function.state;
  state.uncorrectable_errors = static_cast<uint32_t>(section.number("uncorrectable_errors", 0, UINT32_MAX));
  state.correctable_errors = static_cast<uint32_t>(section.number("correctable_errors", 0, UINT32_MAX));
  state.device_errors = static_cast<uint16_t>(section.number("device_errors", 0, 15));
  state.first_error = static_cast<uint8_t>(section.number("first_error", 0, 31));
  state.header_log = header_log_of(section);
  state.vfs_on = static_cast<uint16_t>(section.number("vfs_on", 0, function.vf_total));
  state.reset_capable = section.flag("reset_capable", true);
  state.reset_returns = section.flag("reset_returns", true);
  function.iommu_group = static_cast<int>(section.signed_number("iommu_group", -1, -1, INT32_MAX));
}

void function_change(PciFunction& function, const CardSection& section) {
  function.kind = static_cast<FunctionKind>(section.choice("kind", static_cast<size_t>(function.kind), kind_names));
  function.vendor = static_cast<uint16_t>(section.number("vendor", function.vendor, UINT16_MAX));
  function.device = static_cast<uint16_t>(section.number("device", function.device, UINT16_MAX));
  function.class_code = static_cast<uint32_t>(section.number("class", function.class_code, 0xffffff));
  function.subsystem_vendor = static_cast<uint16_t>(section.number("subsystem_vendor", function.vendor, UINT16_MAX));
  function.subsystem_device = static_cast<uint16_t>(section.number("subsystem_device", function.device, UINT16_MAX));
  function.vf_device = static_cast<uint16_t>(section.number("vf_device", 0x8040, UINT16_MAX));
  function.vf_total = static_cast<uint16_t>(section.number("vf_total", 256, UINT16_MAX));
  function.interface = folder_name(section, "interface", function.interface, 15);
  function.driver = folder_name(section, "driver", function.driver, 64);
  function.bar_address = section.number("bar_address", function.bar_address);
  function.bar_size = section.number("bar_size", function.bar_size);
  function.has_power = section.flag("power_capability", true);
  function.power_state = static_cast<uint8_t>(section.number("power_state", 0, 3));
  function.has_vpd = section.flag("vpd_capability", function.is_card());
  function.config_size = section.number("config_size", config_space_size, config_space_size);
  config_bytes_load(function, section.section("config"));
  state_load(function, section);
}

constexpr uint16_t command_memory_and_master = 0x0006;
constexpr uint16_t command_master = 0x0004;
constexpr uint8_t multi_function = 0x80;
constexpr uint16_t status_capability_list = 0x0010;
constexpr uint32_t bar_64_bit_prefetchable = 0xc;

void header_fill(const PciFunction& function, ConfigWriter& config) {
  bool bridge = function.kind == FunctionKind::card_switch;
  bool is_virtual = function.kind == FunctionKind::virtual_function;
  // A virtual function has neither an identity nor BARs nor a memory enable of its own: they are the physical one's.
  config.put<uint16_t>(0x00, is_virtual ? UINT16_MAX : function.vendor);
  config.put<uint16_t>(0x02, is_virtual ? UINT16_MAX : function.device);
  config.put<uint16_t>(0x04, is_virtual ? command_master : command_memory_and_master);
  config.put<uint16_t>(0x06, status_capability_list);
  config.put<uint32_t>(0x08, function.class_code << 8 | 1);
  config.put<uint8_t>(0x0e, static_cast<uint8_t>((bridge ? 1 : 0) | (function.multi ? multi_function : 0)));
  if (function.bar_size != 0 && !is_virtual) {
    config.put<uint64_t>(0x10, function.bar_address | bar_64_bit_prefetchable);
  }
  if (bridge) {
    uint8_t bus = 0;
    sscanf(function.sbdf.c_str(), "%*x:%hhx", &bus);
    config.put<uint8_t>(0x18, bus);
    config.put<uint8_t>(0x19, static_cast<uint8_t>(bus + 1));  // the card's functions are on the next bus
    config.put<uint8_t>(0x1a, static_cast<uint8_t>(bus + 1));
  } else {
    config.put<uint16_t>(0x2c, function.subsystem_vendor);
    config.put<uint16_t>(0x2e, function.subsystem_device);
  }
}

/// What the card's functions have in common.
void card_state_load(std::vector<PciFunction>& functions, CardFile& file) {
  CardSection link = file.section("link");
  const uint8_t speed = static_cast<uint8_t>(link.number("speed", 4, 15));
  const uint8_t width = static_cast<uint8_t>(link.number("width", 16, 63));
  const bool equalised = link.flag("equalised", true);
  const bool ready = file.section("margining").flag("ready", true);
  const Bytes product_data = product_data_load(file);
  for (PciFunction& function : functions) {
    function.state.link_speed = speed;
    function.state.link_width = width;
    function.state.equalised = equalised;
    function.state.margining_ready = ready;
    if (function.is_card() && function.has_vpd) {
      function.product_data = product_data;
    }
  }
}

/// Which functions share a device, and which physical function a virtual one belongs to. The functions are sorted.
void relations_find(std::vector<PciFunction>& functions) {
  constexpr size_t bus_length = 7;
  constexpr size_t device_length = 10;
  for (PciFunction& function : functions) {
    std::string_view address = function.sbdf;
    for (const PciFunction& other : functions) {
      std::string_view there = other.sbdf;
      function.multi = function.multi || (&other != &function && function.kind != FunctionKind::virtual_function &&
                                          there.substr(0, device_length) == address.substr(0, device_length));
      if (function.kind == FunctionKind::virtual_function && function.physical.empty() &&
          other.kind == FunctionKind::physical && there.substr(0, bus_length) == address.substr(0, bus_length)) {
        function.physical = other.sbdf;
      }
    }
  }
}

}  // namespace

std::vector<PciFunction> pci_functions_load(CardFile& file, uint64_t bar_size) {
  std::vector<PciFunction> functions;
  CardSection changes = file.section("functions");
  auto add = [&](PciFunction function) {
    CardSection section = changes.section(function.sbdf.c_str());
    function.bar_size = function.kind == FunctionKind::card_switch ? 0 : bar_size;
    function_change(function, section);
    if (section.flag("present", true)) {
      functions.push_back(std::move(function));
    }
  };
  for (const DefaultFunction& row : default_functions) {
    PciFunction function;
    function.kind = row.kind;
    function.sbdf = row.sbdf;
    function.vendor = row.vendor;
    function.device = row.device;
    function.class_code = row.class_code;
    function.interface = row.interface;
    function.driver = row.driver;
    function.bar_address = row.bar_address;
    add(std::move(function));
  }
  for (const std::string& key : changes.keys()) {
    bool known = std::any_of(std::begin(default_functions), std::end(default_functions),
                             [&](const DefaultFunction& row) { return key == row.sbdf; });
    if (known) {
      continue;
    }
    if (!sbdf_is_valid(key)) {
      changes.complain(key, "not a PCI address of the form 0000:3b:00.0");
      continue;
    }
    PciFunction function;
    function.sbdf = key;
    function.vendor = 0x1cf2;
    function.device = 0x8037;
    function.class_code = 0x020000;
    function.bar_address = 0x380030000000;
    add(std::move(function));
  }
  std::sort(functions.begin(), functions.end(),
            [](const PciFunction& a, const PciFunction& b) { return a.sbdf < b.sbdf; });
  card_state_load(functions, file);
  relations_find(functions);
  return functions;
}

bool pci_function_config_create(PciFunction& function, const std::string& path) {
  if (!function.config.create(path, config_space_size)) {
    return false;
  }
  ConfigWriter config(function.config.bytes());
  header_fill(function, config);
  pci_capabilities_fill(function, config);
  for (const auto& [at, bytes] : function.config_bytes) {
    std::copy(bytes.begin(), bytes.end(), function.config.bytes().begin() + static_cast<ptrdiff_t>(at));
  }
  return true;
}

}  // namespace vcard
