#include "dev_choice.h"

#include <charconv>
#include <string_view>

#include "common/report.h"
#include "kx_pcie/bind.h"

namespace {

constexpr int ATTEMPTS = 3;
constexpr size_t INDEX_LENGTH_MAX = 8;
constexpr char RULE[] = "-----------------------------------------------------";
static_assert(sizeof RULE - 1 == 53);

struct input_line {
  char text[INDEX_LENGTH_MAX];
  size_t length;  ///< of the whole line, also of what does not fit into `text`
};

// Reads up to and with the newline. False when the input ends before the first character.
bool input_line_read(FILE* in, input_line* line) {
  line->length = 0;
  int c = getc(in);
  if (c == EOF) {
    return false;
  }
  while (c != '\n' && c != EOF) {
    if (line->length < INDEX_LENGTH_MAX) {
      line->text[line->length] = static_cast<char>(c);
    }
    line->length++;
    c = getc(in);
  }
  return true;
}

bool decimal_read(std::string_view text, uint32_t* value) {
  const auto [rest, error] = std::from_chars(text.begin(), text.end(), *value);
  return error == std::errc() && rest == text.end();
}

}  // namespace

void kxtools_device_list_print() {
  kx_print("%s\n", RULE);
  bind_pcie_dev_help();
  kx_print("%s\n", RULE);
}

kxtools_index_result kxtools_index_read(FILE* in, uint32_t* index) {
  kx_print("Please enter index: ");
  for (int attempt = 0; attempt < ATTEMPTS; attempt++) {
    input_line line = {};
    if (!input_line_read(in, &line)) {
      return kxtools_index_result::end;
    }
    if (line.length > INDEX_LENGTH_MAX) {
      kx_print("Warning: Input too long, please enter index again: ");
      continue;
    }
    const std::string_view text(line.text, line.length);
    if (text == "q") {
      return kxtools_index_result::quit;
    }
    if (decimal_read(text, index)) {
      return kxtools_index_result::index;
    }
    kx_print("Warning: invalid input, please enter index again: ");
  }
  kx_print("\nWarning: maximum retrys reached, Exiting.\n");
  return kxtools_index_result::refused;
}
