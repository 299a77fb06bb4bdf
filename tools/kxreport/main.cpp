// kxreport: what the cards of this host answer, as data. Reads, never changes.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "ask.h"
#include "build_id/build_id.h"
#include "bundle.h"
#include "bundle_read.h"
#include "common/report.h"
#include "describe.h"
#include "diff.h"
#include "status.h"
#include "watch.h"
#include "words.h"

namespace {

constexpr const char* SCHEMA_NAME = "kxreport";
constexpr int64_t SCHEMA_VERSION = 1;

/// A report being made.
struct report {
  value root = {term::document, 0, {}, {}};
  std::vector<std::string> errors;
  int status = STATUS_GOOD;

  void fail(int bit, const std::string& line) {
    status |= bit;
    errors.push_back(line);
    kx_error_print("kxreport: %s\n", line.c_str());
  }
};

// A standard stream that came in closed would lend its number to the next file opened.
bool standard_streams_open() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
    if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDWR) != fd) {
      return false;
    }
  }
  return true;
}

std::string utc_text() {
  char text[32];
  const time_t now = time(nullptr);
  struct tm utc = {};
  gmtime_r(&now, &utc);
  strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

void head_build(const char* command, value* root) {
  value_builder out(root);
  out.begin(term::schema);
  out.text(term::schema_name, SCHEMA_NAME);
  out.gauge(term::schema_version, SCHEMA_VERSION);
  out.end();
  out.begin(term::program);
  out.text(term::program_name, "kxreport");
  out.text(term::program_version, KX_BUILD_VERSION);
  out.end();
  out.text(term::command, command);
  out.text(term::time, utc_text());
}

void end_build(report* made) {
  value_builder out(&made->root);
  out.begin(term::errors);
  for (const std::string& line : made->errors) {
    out.text(term::error, line);
  }
  out.end();
  out.gauge(term::status, made->status);
}

/// What the values mean for the exit status, wherever they stand.
int status_of(const value& one) {
  int status = 0;
  const bool yes = one.number != 0;
  switch (one.what) {
    case term::answers:
      status = yes ? 0 : STATUS_NO_ANSWER;
      break;
    case term::healthy:
      status = yes ? 0 : STATUS_HEALTH;
      break;
    case term::at_best:
    case term::link_at_best:
      status = yes ? 0 : STATUS_LINK;
      break;
    case term::alarm:
      status = yes ? STATUS_ALARM : 0;
      break;
    case term::trusted:
      status = yes ? 0 : STATUS_ALARM;
      break;
    default:
      break;
  }
  for (const value& child : one.children) {
    status |= status_of(child);
  }
  return status;
}

bool places_find(const report_words& words, std::vector<card_place>* places, report* made) {
  if (words.device.empty()) {
    if (!cards_find(places)) {
      made->fail(STATUS_NO_CARD, std::string("the PCI functions of this host cannot be read: ") + strerror(errno));
    } else if (places->empty()) {
      made->fail(STATUS_NO_CARD, "no card on this host");
    }
    return !places->empty();
  }
  card_place place;
  std::string why;
  if (!card_find(words.device.c_str(), &place, &why)) {
    made->fail(STATUS_NO_CARD, words.device + ": " + why);
    return false;
  }
  places->push_back(std::move(place));
  return true;
}

bool units_check(const report_words& words, report* made) {
  for (const std::string& word : words.units) {
    bool known = false;
    std::string names;
    for (const kxtools_unit* unit : units_all()) {
      known |= word == unit->name;
      names += std::string(names.empty() ? "" : ", ") + unit->name;
    }
    if (!known) {
      made->fail(STATUS_USAGE, std::string("'").append(word).append("' is no unit of the card: ").append(names));
      return false;
    }
  }
  return true;
}

// What went wrong with a card, for who reads along.
void errors_tell(const value& list) {
  for (const value& group : list.children) {
    const value* errors = group.find(term::errors);  // a table tells its own
    const value* device = group.find(term::device);
    const value* address = group.find(term::address);
    if (errors == nullptr || device == nullptr || address == nullptr) {
      continue;
    }
    const std::string name = value_text(device->text.empty() ? *address : *device);
    for (const value& error : errors->children) {
      kx_error_print("kxreport: %s: %s\n", name.c_str(), value_text(error).c_str());
    }
    if (const value* messages = group.find(term::messages); !errors->children.empty() && messages != nullptr) {
      for (const value& message : messages->children) {
        kx_error_print("kxreport: %s:   %s\n", name.c_str(), value_text(message).c_str());
      }
    }
  }
}

void cards_report(const report_words& words, report* made) {
  std::vector<card_place> places;
  if (!units_check(words, made) || !places_find(words, &places, made)) {
    return;
  }
  const bool list = words.command->kind == command_kind::list;
  made->root.children.push_back({list ? term::functions : term::cards, 0, {}, {}});
  value* group = &made->root.children.back();
  const uint32_t sections = words.command->sections | (words.eyes ? SECTION_EYES : 0u);
  const ask_options options = {.request = {.sections = sections, .units = words.units}, .limit_s = words.limit_s};
  const int raised = cards_ask(places, options, list ? term::function : term::card, group);
  made->status |= status_of(*group);
  errors_tell(*group);
  if (raised != 0) {
    made->status = STATUS_SIGNAL + raised;
    made->errors.push_back("interrupted");
    const bool kept = words.command->kind != command_kind::bundle;
    kx_error_print("kxreport: interrupted: %s\n", kept ? "what was read is shown" : "nothing is kept");
  }
}

/// Nothing is left to show: the looks have been shown.
int watch_report(const report_words& words, report* made) {
  std::vector<card_place> places;
  if (units_check(words, made) && places_find(words, &places, made)) {
    const ask_options ask = {.request = {.sections = words.command->sections, .units = words.units},
                             .limit_s = words.limit_s};
    made->status |= watch_run(places[0], {.ask = ask, .interval_s = words.interval_s, .looks = words.looks}, status_of);
  }
  return made->status;
}

// An ill card's bundle is written too: the status tells of both.
void bundle_report(const report_words& words, report* made) {
  const std::string& path = words.files[0];
  std::string why;
  kx_result_file file;
  if (!bundle_open(path.c_str(), &file, &why)) {
    made->fail(STATUS_OUTPUT, path + ": " + why);
    return;
  }
  report whole;
  head_build(words.command->name, &whole.root);
  cards_report(words, &whole);
  made->status = whole.status;
  made->errors = whole.errors;
  if (whole.root.find(term::cards) == nullptr || whole.status >= STATUS_SIGNAL) {
    return;
  }
  end_build(&whole);
  bundle_registers registers;
  if (!bundle_write(whole.root, &file, &registers, &why)) {
    made->fail(STATUS_OUTPUT, path + ": " + why);
    return;
  }
  value_builder out(&made->root);
  out.begin(term::bundles);
  out.begin(term::bundle);
  out.text(term::file, path);
  out.gauge(term::registers_kept, registers.kept);
  out.gauge(term::registers_left_out, registers.left_out);
}

void diff_report(const report_words& words, report* made) {
  value roots[2] = {{term::document, 0, {}, {}}, {term::document, 0, {}, {}}};
  for (size_t i = 0; i < std::size(roots); ++i) {
    std::string why;
    if (!bundle_read(words.files[i].c_str(), &roots[i], &why)) {
      made->fail(STATUS_USAGE, words.files[i] + ": " + why);
      return;
    }
  }
  value_builder out(&made->root);
  out.begin(term::differences);
  made->status |= reports_compare(roots[0], roots[1], &out) == 0 ? STATUS_GOOD : STATUS_HEALTH;
}

int report_run(const report_words& words) {
  report made;
  head_build(words.command->name, &made.root);
  if (!units_init()) {
    made.fail(STATUS_USAGE, "the command tables cannot be set up");
  } else if (words.command->kind == command_kind::commands) {
    value_builder out(&made.root);
    commands_describe(&out);
  } else if (words.command->kind == command_kind::watch) {
    return watch_report(words, &made);
  } else if (words.command->kind == command_kind::bundle) {
    bundle_report(words, &made);
  } else if (words.command->kind == command_kind::diff) {
    diff_report(words, &made);
  } else {
    cards_report(words, &made);
  }
  end_build(&made);
  words.view(made.root, stdout);
  return made.status;
}

// A program that asked for a form gets its document even when the words were wrong.
int usage_failed(const report_words& words, const std::string& why) {
  report made;
  head_build(words.command == nullptr ? "" : words.command->name, &made.root);
  made.fail(STATUS_USAGE, why);
  end_build(&made);
  if (words.view != view_text) {
    words.view(made.root, stdout);
  }
  return made.status;
}

int words_run(char** argv) {
  report_words words;
  std::string why;
  if (!words_read(argv, &words, &why)) {
    return usage_failed(words, why);
  }
  if (words.help) {
    usage_print(stdout);
    return STATUS_GOOD;
  }
  if (words.version) {
    printf("kxreport %s\nbuilt on %s %s with %s\n", KX_BUILD_VERSION, KX_BUILD_DATE, KX_BUILD_TIME, KX_BUILD_COMPILER);
    return STATUS_GOOD;
  }
  if (words.command->kind == command_kind::schema) {
    schema_print(stdout);
    return STATUS_GOOD;
  }
  return report_run(words);
}

// A result that did not reach its reader is none.
int output_check(int status) {
  errno = 0;
  if (fflush(stdout) == 0 && ferror(stdout) == 0) {
    return status;
  }
  kx_error_print("kxreport: the result cannot be written: %s\n", errno == 0 ? "output failed" : strerror(errno));
  return status >= STATUS_SIGNAL ? status : status | STATUS_OUTPUT;
}

}  // namespace

int main(int, char** argv) {
  return standard_streams_open() ? output_check(words_run(argv)) : STATUS_OUTPUT;
}
