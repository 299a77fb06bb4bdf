// The words of a command line.
#pragma once

#include <string>
#include <vector>

#include "commands.h"
#include "views.h"

struct report_words {
  const report_command* command = nullptr;  ///< null with `help` or `version`, or after wrong words
  view_fn view = view_text;
  bool help = false;
  bool version = false;
  bool all = false;
  bool eyes = false;
  uint32_t limit_s = 20;
  uint32_t interval_s = 1;
  uint32_t looks = 0;              ///< 0: without end
  std::string device;              ///< "" for none
  std::vector<std::string> units;  ///< not yet known to be any
  std::vector<std::string> files;  ///< of a bundle one, of a difference two
};

/// Reads them. False with what is wrong in `why`; a format that was read before stays in `words`.
bool words_read(char** argv, report_words* words, std::string* why);

/// What -h prints.
void usage_print(FILE* out);
