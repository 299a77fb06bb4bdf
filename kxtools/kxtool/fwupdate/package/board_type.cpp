// Board types: the words of a package and of a card that must agree before anything is written.
#include <algorithm>
#include <cstring>

#include "common/printable.h"
#include "fwupdate/package.h"

namespace {

// An empty type would match every card, so it counts as missing.
fw_board_result take_type(std::string_view text, fw_board_type* type) {
  if (text.empty()) {
    return fw_board_result::invalid_format;
  }
  if (text.size() > FW_BOARD_TYPE_MAX) {
    return fw_board_result::too_long;
  }
  type->fill('\0');
  std::copy(text.begin(), text.end(), type->begin());
  return fw_board_result::ok;
}

}  // namespace

fw_board_result fw_board_type_of_identification(std::string_view text, fw_board_type* type) {
  const size_t mark = text.find(FW_IDENTIFICATION_MARK);
  if (mark == std::string_view::npos) {
    return fw_board_result::invalid_format;
  }
  text.remove_prefix(mark + FW_IDENTIFICATION_MARK.size());
  const size_t end = text.find('-');
  if (end == std::string_view::npos) {
    return fw_board_result::invalid_format;
  }
  return take_type(text.substr(0, end), type);
}

fw_board_result fw_board_type_of_part_number(std::string_view text, fw_board_type* type) {
  const size_t blank = text.find(' ');
  if (blank == std::string_view::npos) {
    return fw_board_result::invalid_format;
  }
  return take_type(text.substr(blank + 1), type);
}

bool fw_board_type_match(const fw_board_type& package, const fw_board_type& card) {
  return strncmp(package.data(), card.data(), strlen(package.data())) == 0;
}

std::array<char, FW_IDENTIFICATION_SIZE + 1> fw_text_printable(std::string_view text) {
  std::array<char, FW_IDENTIFICATION_SIZE + 1> safe = {};
  text = text.substr(0, FW_IDENTIFICATION_SIZE);
  std::transform(text.begin(), text.end(), safe.begin(), [](char c) { return kx_is_printable(c) ? c : '?'; });
  return safe;
}
