// Line editing, completion and history of the debug shell.
#include <readline/history.h>
#include <readline/readline.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "dpp_diag/dpp_cmd.h"
#include "dpp_diag/dpp_shell.h"
#include "qlix_comm/print.h"

namespace {

struct free_text {
  void operator()(char* text) const {
    free(text);
  }
};
using line_text = std::unique_ptr<char, free_text>;

// Names that begin with the word: readline asks until there are none.
char* name_next(const char* word, int state) {
  static uint32_t at = 0;
  static size_t length = 0;
  if (state == 0) {
    at = 0;
    length = strlen(word);
  }
  while (at < DPP_CMD_NUM) {
    const DppCmdEntry& entry = *dpp_cmd_get(at++);
    if (strncmp(entry.name, word, length) == 0) {
      return strdup(entry.name);
    }
  }
  return nullptr;
}

// Only the first word is a name; the others are numbers, and never files.
char** complete(const char* word, int start, int /*end*/) {
  rl_attempted_completion_over = 1;
  return start == 0 ? rl_completion_matches(word, name_next) : nullptr;
}

void end_trim(char* text) {
  size_t length = strlen(text);
  while (length > 0 && text[length - 1] == ' ') {
    text[--length] = '\0';
  }
}

// Words of a text command as they stand.
void text_call(const DppCmdEntry& entry, const char* rest) {
  DppCmdArgs args;
  args.text = rest;
  entry.func(entry, args);
}

void integer_call(const DppCmdEntry& entry, char* rest) {
  DppCmdArgs args;
  char* state = nullptr;
  for (char* word = strtok_r(rest, " ", &state); word != nullptr; word = strtok_r(nullptr, " ", &state)) {
    if (args.num == DPP_CMD_ARG_MAX) {
      QLIX_COMM_PRINT("%s: more than %u arguments\n", entry.name, DPP_CMD_ARG_MAX);
      return;
    }
    if (!dpp_is_integer(word)) {
      QLIX_COMM_PRINT("%s: '%s' is no number of 32 bits and counts as 0x%x\n", entry.name, word, dpp_atoi(word));
    }
    args.value[args.num++] = dpp_atoi(word);
  }
  const uint32_t code = entry.func(entry, args);
  if (code != 0) {
    QLIX_COMM_PRINT("%s: 0x%x\n", entry.name, code);
  }
}

void line_run(char* line) {
  line += strspn(line, " ");
  if (*line == '\0') {
    return;
  }
  const line_text kept(strdup(line));
  char* rest = line + strcspn(line, " ");
  if (*rest != '\0') {
    *rest++ = '\0';
  }
  rest += strspn(rest, " ");
  const DppCmdEntry* entry = dpp_cmd_find(line);
  if (entry == nullptr) {
    QLIX_COMM_PRINT("%s: command not found\n", line);
    return;
  }
  if (entry->in_driver != 0 && kept != nullptr) {
    add_history(kept.get());
  }
  end_trim(rest);
  if (dpp_cmd_is_usage_word(rest)) {
    dpp_cmd_usage_print(*entry);
  } else if (entry->int_args != 0) {
    integer_call(*entry, rest);
  } else {
    text_call(*entry, rest);
  }
}

}  // namespace

int32_t dpp_driver_shell() {
  rl_readline_name = "dpp_shell";
  rl_attempted_completion_function = complete;
  using_history();
  dpp_shell_leave = false;
  while (!dpp_shell_leave) {
    const line_text line(readline("dpp> "));
    if (line == nullptr) {
      break;
    }
    line_run(line.get());
  }
  clear_history();
  return 0;
}
