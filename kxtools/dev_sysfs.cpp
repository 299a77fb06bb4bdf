#include "dev_sysfs.h"

#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "common/report.h"
#include "kxtools/card_interfaces.h"

namespace {

constexpr size_t PATH_SIZE = 100;
constexpr size_t LINE_SIZE = 1024;
constexpr uint32_t BAR_NUM = 6;

struct file_closer {
  void operator()(FILE* file) const {
    fclose(file);
  }
};
using file_owner = std::unique_ptr<FILE, file_closer>;

// Reads one line of at most LINE_SIZE - 1 characters without its newline; the rest of a longer line is skipped, so that
// it never passes for a line of its own. False at the end of the file.
bool line_read(FILE* file, char (&line)[LINE_SIZE]) {
  int c = getc(file);
  if (c == EOF) {
    return false;
  }
  size_t length = 0;
  for (; c != '\n' && c != EOF; c = getc(file)) {
    if (length < LINE_SIZE - 1) {
      line[length++] = static_cast<char>(c);
    }
  }
  line[length] = '\0';
  return true;
}

// Path of a file of the function's directory. False when it does not fit.
bool function_path(char (&path)[PATH_SIZE], kxtools_sbdf sbdf, const char* file) {
  const int length =
      snprintf(path, sizeof path, "%s/%04x:%02x:%02x.%x/%s", KXTOOLS_PCI_DEVICES, kxtools_sbdf_segment(sbdf),
               kxtools_sbdf_bus(sbdf), kxtools_sbdf_device(sbdf), kxtools_sbdf_function(sbdf), file);
  return length > 0 && static_cast<size_t>(length) < sizeof path;
}

bool id_file_read(const char* path, uint32_t* value) {
  const file_owner file(fopen(path, "re"));
  return file != nullptr && fscanf(file.get(), "%9" SCNx32, value) == 1;
}

bool function_ids_read(kxtools_sbdf sbdf, uint32_t* vendor, uint32_t* device) {
  char path[PATH_SIZE];
  return function_path(path, sbdf, "vendor") && id_file_read(path, vendor) && function_path(path, sbdf, "device") &&
         id_file_read(path, device);
}

int32_t bar_range_read(kxtools_sbdf sbdf, uint32_t bar_index, kxtools_bar_range* range) {
  char path[PATH_SIZE];
  if (!function_path(path, sbdf, "resource")) {
    kx_print("Path generation failed or truncated\n");
    return -1;
  }
  return kxtools_resource_bar_read(path, bar_index, range);
}

/// A row of the supported-function table.
struct supported_function {
  uint32_t device;
  uint32_t vendor;
  uint32_t second_device;
  uint8_t kind;
  bool tool_may_bind;
};

constexpr supported_function SUPPORTED[] = {
    {0x8040, 0x16c3, 0x8041, 2, false}, {0x1041, 0x1111, 0x1041, 2, true},  {0x8037, 0x1cf2, 0x8037, 1, true},
    {0x1041, 0x1af4, 0x1041, 2, true},  {0x1042, 0x1af4, 0x1042, 1, true},  {0x1000, 0x1af4, 0x1000, 2, true},
    {0x0000, 0x16c3, 0x1001, 2, true},  {0x8030, 0x16c3, 0x0000, 2, false},
};

// The maker's own range, beside the rows.
constexpr uint32_t OWN_VENDOR = 0x1cf2;
constexpr uint32_t OWN_DEVICE_FIRST = 0x8010;
constexpr uint32_t OWN_DEVICE_LAST = 0x809f;
constexpr uint32_t SWITCH_DEVICE = 0x8036;

const supported_function* supported_row(uint32_t vendor, uint32_t device) {
  for (const supported_function& row : SUPPORTED) {
    if (row.vendor == vendor && row.device == device) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace

int32_t kxtools_resource_bar_read(const char* path, uint32_t bar_index, kxtools_bar_range* range) {
  const file_owner file(fopen(path, "re"));
  if (file == nullptr) {
    kx_print("Failed to open resource file: %s\n", path);
    return -1;
  }
  char line[LINE_SIZE];
  for (uint32_t index = 0; index < BAR_NUM && line_read(file.get(), line); index++) {
    uint64_t start = 0;
    uint64_t end = 0;
    uint64_t flags = 0;
    if (sscanf(line, "%" SCNx64 " %" SCNx64 " %" SCNx64, &start, &end, &flags) != 3) {
      kx_print("Malformed line in resource file: %s\n", path);
    } else if (index == bar_index) {
      *range = {start, end - start + 1};
      return 0;
    }
  }
  if (ferror(file.get()) != 0) {
    kx_print("Error reading resource file: %s\n", path);
  } else {
    kx_print("BAR index %u not found in resource file: %s\n", bar_index, path);
  }
  return -1;
}

int32_t get_bar_addr_from_sys_ext(kxtools_sbdf sbdf, uint32_t bar_index, uint64_t* address) {
  kxtools_bar_range range = {};
  if (bar_range_read(sbdf, bar_index, &range) != 0) {
    return -1;
  }
  *address = range.start;
  return 0;
}

int32_t get_bar_size_from_sys_ext(kxtools_sbdf sbdf, uint32_t bar_index, uint64_t* size) {
  kxtools_bar_range range = {};
  if (bar_range_read(sbdf, bar_index, &range) != 0) {
    return -1;
  }
  *size = range.size;
  return 0;
}

kxtools_uevent_result kxtools_uevent_slot_read(const char* path, char (&slot)[13]) {
  static constexpr char KEY[] = "PCI_SLOT_NAME=";
  static constexpr size_t KEY_LENGTH = sizeof KEY - 1;
  const file_owner file(fopen(path, "re"));
  if (file == nullptr) {
    return kxtools_uevent_result::no_file;
  }
  char line[LINE_SIZE];
  while (line_read(file.get(), line)) {
    if (strncmp(line, KEY, KEY_LENGTH) == 0) {
      snprintf(slot, sizeof slot, "%.12s", line + KEY_LENGTH);
      return kxtools_uevent_result::found;
    }
  }
  return kxtools_uevent_result::no_slot;
}

bool kxtools_is_own_switch(kxtools_sbdf sbdf) {
  uint32_t vendor = 0;
  uint32_t device = 0;
  return function_ids_read(sbdf, &vendor, &device) && kxtools_dev_is_switch(vendor, device);
}

bool kxtools_is_interface_name(const char* word) {
  constexpr size_t NAME_MAX_LENGTH = 15;
  const size_t length = strlen(word);
  return length > 0 && length <= NAME_MAX_LENGTH && strchr(word, '/') == nullptr && strcmp(word, ".") != 0 &&
         strcmp(word, "..") != 0;
}

int32_t sbdf_valid_check(kxtools_sbdf sbdf) {
  char path[PATH_SIZE];
  uint32_t vendor = 0;
  uint32_t device = 0;
  if (!function_path(path, sbdf, "vendor")) {
    kx_print("create filepath failed\n");
    return -1;
  }
  if (!id_file_read(path, &vendor)) {
    kx_print("get vendor failed!\n");
    return -1;
  }
  if (!function_path(path, sbdf, "device")) {
    kx_print("create filepath failed\n");
    return -1;
  }
  if (!id_file_read(path, &device)) {
    kx_print("get device failed!\n");
    return -1;
  }
  return kxtools_dev_is_supported(vendor, device) ? 0 : -1;
}

bool kxtools_folder_is_supported(const char* folder) {
  uint32_t vendor = 0;
  uint32_t device = 0;
  return id_file_read((std::string(folder) + "/vendor").c_str(), &vendor) &&
         id_file_read((std::string(folder) + "/device").c_str(), &device) && kxtools_dev_is_supported(vendor, device);
}

bool kxtools_function_is_supported(kxtools_sbdf sbdf) {
  uint32_t vendor = 0;
  uint32_t device = 0;
  return function_ids_read(sbdf, &vendor, &device) && kxtools_dev_is_supported(vendor, device);
}

void kxtools_supported_functions_visit(void (*visit)(uint32_t vendor, uint32_t first, uint32_t last)) {
  for (const supported_function& row : SUPPORTED) {
    visit(row.vendor, row.device, row.device);
  }
  visit(OWN_VENDOR, OWN_DEVICE_FIRST, OWN_DEVICE_LAST);
}

bool kxtools_dev_is_foreign(kxtools_sbdf sbdf) {
  uint32_t vendor = 0;
  uint32_t device = 0;
  return function_ids_read(sbdf, &vendor, &device) && !kxtools_dev_is_supported(vendor, device);
}

bool kxtools_dev_driver_get(const char* sbdf_text, char (&name)[64]) {
  char link[PATH_SIZE];
  char target[256];
  snprintf(link, sizeof link, "%s/%.12s/driver", KXTOOLS_PCI_DEVICES, sbdf_text);
  const ssize_t length = readlink(link, target, sizeof target - 1);
  if (length <= 0) {
    return false;
  }
  target[length] = '\0';
  const char* slash = strrchr(target, '/');
  snprintf(name, sizeof name, "%.63s", slash == nullptr ? target : slash + 1);
  return true;
}

bool kxtools_dev_is_supported(uint32_t vendor, uint32_t device) {
  return supported_row(vendor, device) != nullptr ||
         (vendor == OWN_VENDOR && device >= OWN_DEVICE_FIRST && device <= OWN_DEVICE_LAST);
}

bool kxtools_dev_is_switch(uint32_t vendor, uint32_t device) {
  return vendor == OWN_VENDOR && device == SWITCH_DEVICE;
}

uint32_t is_tools_bind_pf(uint32_t vendor, uint32_t device) {
  const supported_function* row = supported_row(vendor, device);
  return row != nullptr && row->tool_may_bind ? 1 : 0;
}
