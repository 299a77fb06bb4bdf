#include "words.h"

#include <cstdlib>
#include <cstring>

#include "common/nearest.h"

namespace {

constexpr unsigned long LIMIT_MAX_S = 3600;

constexpr const char* OPTIONS =
    "  --format text|json|openmetrics|html   how the result is shown; text without\n"
    "  --all                                 all card functions of the host\n"
    "  --timeout SECONDS                     give up a card that tells nothing for so long (20)\n"
    "  -h, --help    -v, --version\n"
    "\n"
    "DEVICE is a network interface or a PCI address, UNIT one of vqm, pcie, np, pcsmac.\n"
    "\n"
    "The exit status is the sum of: 1 wrong words, 2 no such card, 4 a card did not give all\n"
    "answers, 8 a check is not good, 16 a PCIe link below its best, 32 a module raises an alarm\n"
    "or cannot be trusted, 64 the result could not be written; 130 interrupted.\n";

std::string nearest_text(const char* word, bool commands) {
  kx_nearest nearest(word);
  for (const report_command& row : report_commands()) {
    if (commands) {
      nearest.offer(row.name);
    }
  }
  for (const char* option : {"--format", "--all", "--timeout", "--help", "--version"}) {
    nearest.offer(option);
  }
  return nearest.name() == nullptr ? "" : std::string(": did you mean '") + nearest.name() + "'?";
}

bool limit_read(const char* word, report_words* words, std::string* why) {
  char* end = nullptr;
  const unsigned long number = strtoul(word, &end, 10);
  if (*word < '0' || *word > '9' || *end != '\0' || number == 0 || number > LIMIT_MAX_S) {
    *why = std::string("--timeout takes seconds from 1 to 3600, not '") + word + "'";
    return false;
  }
  words->limit_s = static_cast<uint32_t>(number);
  return true;
}

/// An option with its value; moves `argv` on over the value.
bool option_read(char*** argv, report_words* words, std::string* why) {
  const std::string_view word = **argv;
  if (word == "-h" || word == "--help") {
    words->help = true;
    return true;
  }
  if (word == "-v" || word == "--version") {
    words->version = true;
    return true;
  }
  if (word == "--all") {
    words->all = true;
    return true;
  }
  if (word != "--format" && word != "--timeout") {
    *why = std::string("'").append(word) + "' is no option" + nearest_text(**argv, false);
    return false;
  }
  if ((*argv)[1] == nullptr) {
    *why = std::string(word) + " needs a value";
    return false;
  }
  const char* value = *++*argv;
  if (word == "--timeout") {
    return limit_read(value, words, why);
  }
  if (view_find(value) == nullptr) {
    *why = std::string("--format takes ") + VIEW_NAMES + ", not '" + value + "'";
    return false;
  }
  words->view = view_find(value);
  return true;
}

bool command_take(const char* word, report_words* words, std::string* why) {
  words->command = report_command_find(word);
  if (words->command == nullptr) {
    *why = std::string("'") + word + "' is no command" + nearest_text(word, true);
  }
  return words->command != nullptr;
}

/// The words behind the command must be those that it takes.
bool rest_check(const report_words& words, std::string* why) {
  if (words.command == nullptr) {
    *why = "a command is missing: 'kxreport --help' lists them";
    return false;
  }
  const bool takes_device = words.command->kind == command_kind::cards;
  const bool takes_units = takes_device && strstr(words.command->words, "UNIT") != nullptr;
  if (takes_device && words.device.empty() && !words.all) {
    *why = std::string(words.command->name) + " needs a device or --all";
    return false;
  }
  if ((!takes_device && !words.device.empty()) || (!takes_units && !words.units.empty())) {
    *why = std::string(words.command->name) + " takes no word '" + (takes_device ? words.units.front() : words.device) +
           "'";
    return false;
  }
  return true;
}

}  // namespace

bool words_read(char** argv, report_words* words, std::string* why) {
  std::vector<const char*> plain;
  for (++argv; *argv != nullptr; ++argv) {
    if ((*argv)[0] != '-') {
      plain.push_back(*argv);
    } else if (!option_read(&argv, words, why)) {
      return false;
    }
  }
  if (words->help || words->version) {
    return true;
  }
  if (!plain.empty() && !command_take(plain.front(), words, why)) {
    return false;
  }
  for (size_t i = 1; i < plain.size(); ++i) {
    if (i == 1 && !words->all) {
      words->device = plain[i];
    } else {
      words->units.emplace_back(plain[i]);
    }
  }
  return rest_check(*words, why);
}

void usage_print(FILE* out) {
  fputs(
      "usage: kxreport COMMAND [OPTION...]\n\nWhat the cards of this host answer, for people and for programs. Changes "
      "nothing on a card.\n\n",
      out);
  for (const report_command& row : report_commands()) {
    const std::string words = std::string(row.name) + (*row.words == '\0' ? "" : " ") + row.words;
    fprintf(out, "  %-34s %s\n", words.c_str(), row.purpose);
  }
  fprintf(out, "\n%s", OPTIONS);
}
