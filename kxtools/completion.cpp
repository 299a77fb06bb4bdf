// Completion of command words from the live tree.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "kxtools/cmd.h"
#include "kxtools/session.h"
#include "kxtools/shell.h"

namespace {

void cut_to_common_prefix(std::string* text, std::string_view other) {
  const auto end = std::mismatch(text->begin(), text->end(), other.begin(), other.end()).first;
  text->erase(end, text->end());
}

// The rest of the word that `typed` begins in `table`, or nothing when no visible entry begins so.
std::optional<std::string> match(std::string_view typed, const kxtools_cmd_entry* table, uint32_t count, bool* unique) {
  if (typed.empty() || table == nullptr) {
    return std::nullopt;
  }
  typed.remove_prefix(std::min(typed.find_first_not_of(' '), typed.size()));
  std::optional<std::string> suffix;
  for (uint32_t i = 0; i < count; i++) {
    const kxtools_cmd_entry& entry = table[i];
    const std::string_view name = entry.name;
    if (entry.permission > kxtools_permission_get()) {
      continue;
    }
    if (typed.size() > name.size()) {
      if (!suffix && typed.starts_with(name) && typed[name.size()] == ' ' && entry.sub_cmd_num != 0) {
        suffix = match(typed.substr(name.size()), entry.sub_cmd_list, entry.sub_cmd_num, unique);
      }
    } else if (name.starts_with(typed)) {
      const std::string_view rest = name.substr(typed.size());
      *unique = !suffix;
      if (suffix) {
        cut_to_common_prefix(&*suffix, rest);
      } else {
        suffix = rest;
      }
    }
  }
  return suffix;
}

}  // namespace

bool kxtools_cmd_complete(const char* line, std::string* suffix, bool* unique) {
  *unique = false;
  std::optional<std::string> found = match(line == nullptr ? std::string_view() : line, kxtools_cmd_list_addr_get(),
                                           kxtools_cmd_list_count_get(), unique);
  if (!found) {
    return false;
  }
  *suffix = std::move(*found);
  return true;
}
