#include "device/sysfs.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <climits>
#include <cstdio>
#include <memory>
#include <string_view>

#include "common/report.h"
#include "common/unique_fd.h"

namespace {

constexpr size_t FILE_SIZE = 16384;  // the kernel shows a page at most
constexpr uint32_t BAR_NUM = 6;

// Reads as much of a file as there may be.
kxtools_file_state file_read(const std::string& path, std::string* text) {
  const kx_unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) {
    return kxtools_file_state::absent;
  }
  char bytes[FILE_SIZE];
  const ssize_t length = read(fd.get(), bytes, sizeof bytes);
  text->assign(bytes, length > 0 ? static_cast<size_t>(length) : 0);
  return length < 0 ? kxtools_file_state::unreadable : kxtools_file_state::read;
}

// Takes the first line off the front of `text`. False when there is none.
bool line_take(std::string_view* text, std::string_view* line) {
  const size_t end = text->find('\n');
  *line = text->substr(0, end);
  const bool found = !text->empty();
  text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
  return found;
}

}  // namespace

std::string kxtools_function_path(kxtools_sbdf sbdf, const char* file) {
  const std::string path = std::string(KXTOOLS_PCI_DEVICES) + "/" + kxtools_sbdf_text(sbdf).text;
  return file == nullptr ? path : path + "/" + file;
}

std::string kxtools_file_text(const std::string& path) {
  std::string text;
  file_read(path, &text);
  return text;
}

std::string kxtools_file_line(const std::string& path) {
  const std::string text = kxtools_file_text(path);
  return text.substr(0, text.find('\n'));
}

kxtools_file_state kxtools_hex_file_read(const std::string& path, uint32_t* value) {
  std::string text;
  const kxtools_file_state state = file_read(path, &text);
  return state == kxtools_file_state::read && sscanf(text.c_str(), "%9" SCNx32, value) != 1
             ? kxtools_file_state::unreadable
             : state;
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

kxtools_uevent_result kxtools_uevent_slot_read(const std::string& path, char (&slot)[13]) {
  constexpr std::string_view KEY = "PCI_SLOT_NAME=";
  std::string text;
  if (file_read(path, &text) == kxtools_file_state::absent) {
    return kxtools_uevent_result::no_file;
  }
  std::string_view line;
  for (std::string_view rest = text; line_take(&rest, &line);) {
    if (line.starts_with(KEY)) {
      line = line.substr(KEY.size(), sizeof slot - 1);
      slot[line.copy(slot, line.size())] = '\0';
      return kxtools_uevent_result::found;
    }
  }
  return kxtools_uevent_result::no_slot;
}

int32_t kxtools_resource_bar_read(const std::string& path, uint32_t bar_index, kxtools_bar_range* range) {
  std::string text;
  const kxtools_file_state state = file_read(path, &text);
  if (state == kxtools_file_state::absent) {
    kx_print("Failed to open resource file: %s\n", path.c_str());
    return -1;
  }
  std::string_view line;
  std::string_view rest = text;
  for (uint32_t index = 0; index < BAR_NUM && line_take(&rest, &line); index++) {
    uint64_t start = 0;
    uint64_t end = 0;
    uint64_t flags = 0;
    if (sscanf(std::string(line).c_str(), "%" SCNx64 " %" SCNx64 " %" SCNx64, &start, &end, &flags) != 3) {
      kx_print("Malformed line in resource file: %s\n", path.c_str());
    } else if (index == bar_index) {
      *range = {start, end - start + 1};
      return 0;
    }
  }
  if (state == kxtools_file_state::unreadable) {
    kx_print("Error reading resource file: %s\n", path.c_str());
  } else {
    kx_print("BAR index %u not found in resource file: %s\n", bar_index, path.c_str());
  }
  return -1;
}
