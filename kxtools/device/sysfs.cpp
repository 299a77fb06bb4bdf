#include "device/sysfs.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "common/report.h"
#include "common/unique_fd.h"

namespace {

constexpr size_t LINE_SIZE = 1024;
constexpr uint32_t BAR_NUM = 6;

using file_owner = std::unique_ptr<FILE, int (*)(FILE*)>;

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

}  // namespace

std::string kxtools_function_path(kxtools_sbdf sbdf, const char* file) {
  char text[13];
  kxtools_sbdf_text(sbdf, text);
  std::string path = std::string(KXTOOLS_PCI_DEVICES) + "/" + text;
  return file == nullptr ? path : path + "/" + file;
}

std::string kxtools_file_text(const std::string& path) {
  char text[4096];
  const kx_unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const ssize_t length = fd ? read(fd.get(), text, sizeof text) : 0;
  return {text, length > 0 ? static_cast<size_t>(length) : 0};
}

std::string kxtools_file_line(const std::string& path) {
  const std::string text = kxtools_file_text(path);
  return text.substr(0, text.find('\n'));
}

kxtools_hex_file kxtools_hex_file_read(const std::string& path, uint32_t* value) {
  const kx_unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) {
    return kxtools_hex_file::absent;
  }
  char text[16];
  const ssize_t length = read(fd.get(), text, sizeof text - 1);
  text[length > 0 ? length : 0] = '\0';
  return sscanf(text, "%9" SCNx32, value) == 1 ? kxtools_hex_file::read : kxtools_hex_file::unreadable;
}

std::string kxtools_link_target(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  return {target, length > 0 ? static_cast<size_t>(length) : 0};
}

std::string kxtools_link_name(const std::string& path) {
  const std::string target = kxtools_link_target(path);
  return target.substr(target.rfind('/') + 1);
}

bool kxtools_folder_names(const char* path, std::vector<std::string>* names) {
  names->clear();
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path), closedir);
  if (folder == nullptr) {
    return false;
  }
  while (const dirent* entry = readdir(folder.get())) {
    if (entry->d_name[0] != '.') {
      names->emplace_back(entry->d_name);
    }
  }
  return true;
}

kxtools_uevent_result kxtools_uevent_slot_read(const char* path, char (&slot)[13]) {
  static constexpr char KEY[] = "PCI_SLOT_NAME=";
  static constexpr size_t KEY_LENGTH = sizeof KEY - 1;
  const file_owner file(fopen(path, "re"), fclose);
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

int32_t kxtools_resource_bar_read(const char* path, uint32_t bar_index, kxtools_bar_range* range) {
  const file_owner file(fopen(path, "re"), fclose);
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
