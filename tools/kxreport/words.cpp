#include "words.h"

#include <cstdlib>
#include <cstring>

#include "collect.h"
#include "common/nearest.h"

namespace {

constexpr unsigned long NUMBER_MAX = 3600;  // of seconds and of looks

constexpr const char* OPTIONS =
    "  --format text|json|openmetrics|html   how the result is shown; text without\n"
    "  --all                                 all card functions of the host\n"
    "  --eye                                 of link, summary, bundle: measure the eyes of the PCIe lanes too,\n"
    "                                        which takes seconds a lane\n"
    "  --timeout SECONDS                     give up a card that tells nothing for so long (20)\n"
    "  --interval SECONDS    --count LOOKS   of watch: time between two looks (1), and when to end\n"
    "  -h, --help    -v, --version\n"
    "\n"
    "DEVICE is a network interface or a PCI address, UNIT one of vqm, pcie, np, pcsmac.\n"
    "\n"
    "The exit status is the sum of: 1 wrong words or file, 2 no such card, 4 a card did not give\n"
    "all answers, 8 a check is not good, or bundles differ, 16 a PCIe link below its best, 32 a\n"
    "module raises an alarm or cannot be trusted, 64 the result could not be written; 130\n"
    "interrupted.\n";

std::string nearest_text(const char* word, bool commands) {
  kx_nearest nearest(word);
  for (const report_command& row : report_commands()) {
    if (commands) {
      nearest.offer(row.name);
    }
  }
  for (const char* option :
       {"--format", "--all", "--eye", "--timeout", "--interval", "--count", "--help", "--version"}) {
    nearest.offer(option);
  }
  return nearest.name() == nullptr ? "" : std::string(": did you mean '") + nearest.name() + "'?";
}

bool number_read(const std::string& option, const char* word, uint32_t* number, std::string* why) {
  char* end = nullptr;
  const unsigned long value = strtoul(word, &end, 10);
  if (*word < '0' || *word > '9' || *end != '\0' || value == 0 || value > NUMBER_MAX) {
    *why = option + " takes a number from 1 to 3600, not '" + word + "'";
    return false;
  }
  *number = static_cast<uint32_t>(value);
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
  if (word == "--all" || word == "--eye") {
    (word == "--all" ? words->all : words->eyes) = true;
    return true;
  }
  uint32_t* number = word == "--timeout"    ? &words->limit_s
                     : word == "--interval" ? &words->interval_s
                     : word == "--count"    ? &words->looks
                                            : nullptr;
  if (word != "--format" && number == nullptr) {
    *why = std::string("'").append(word) + "' is no option" + nearest_text(**argv, false);
    return false;
  }
  if ((*argv)[1] == nullptr) {
    *why = std::string(word) + " needs a value";
    return false;
  }
  const char* value = *++*argv;
  if (number != nullptr) {
    return number_read(std::string(word), value, number, why);
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

/// The words behind the command, each to its place.
void rest_take(const std::vector<const char*>& rest, report_words* words) {
  const command_kind kind = words->command->kind;
  for (const char* word : rest) {
    if (kind == command_kind::diff || (kind == command_kind::bundle && !words->device.empty())) {
      words->files.emplace_back(word);
    } else if (words->device.empty() && (!words->all || kind != command_kind::cards)) {
      words->device = word;
    } else {
      words->units.emplace_back(word);
    }
  }
}

bool files_check(const report_words& words, std::string* why) {
  const bool bundle = words.command->kind == command_kind::bundle;
  const size_t count = bundle ? 1 : words.command->kind == command_kind::diff ? 2 : 0;
  if (words.files.size() < count) {
    *why = std::string(words.command->name) + (bundle ? " needs a device and a file" : " needs two files");
    return false;
  }
  if (words.files.size() > count) {
    *why = std::string(words.command->name) + " takes no word '" + words.files[count] + "'";
    return false;
  }
  return true;
}

/// The words behind the command must be those that it takes.
bool rest_check(const report_words& words, std::string* why) {
  const command_kind kind = words.command->kind;
  const bool takes_device = strstr(words.command->words, "DEVICE") != nullptr;
  const bool takes_units = strstr(words.command->words, "UNIT") != nullptr;
  const bool takes_all = strstr(words.command->words, "--all") != nullptr;
  if (takes_device && words.device.empty() && !(takes_all && words.all)) {
    *why = std::string(words.command->name) + " needs a device" + (takes_all ? " or --all" : "");
    return false;
  }
  if (words.all && !takes_all && kind != command_kind::list) {
    *why = std::string(words.command->name) + " takes no --all";
    return false;
  }
  if (words.eyes && ((words.command->sections & SECTION_LINK) == 0 || kind == command_kind::watch)) {
    *why = std::string(words.command->name) + " takes no --eye";
    return false;
  }
  if (kind == command_kind::watch && words.view != view_text) {
    *why = "watch shows text alone: a program asks again itself";
    return false;
  }
  if ((!takes_device && !words.device.empty()) || (!takes_units && !words.units.empty())) {
    *why = std::string(words.command->name) + " takes no word '" + (takes_device ? words.units.front() : words.device) +
           "'";
    return false;
  }
  return files_check(words, why);
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
  if (plain.empty()) {
    *why = "a command is missing: 'kxreport --help' lists them";
    return false;
  }
  if (!command_take(plain.front(), words, why)) {
    return false;
  }
  rest_take({plain.begin() + 1, plain.end()}, words);
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
