// A small command tree for the tests: a maintenance module, a module of three levels, and what their handlers saw.
#pragma once

#include <string>
#include <vector>

#include "../line_numbers.h"
#include "kxtools/cmd.h"

struct handler_call {
  std::string entry;
  std::vector<std::string> words;
};

struct handlers_state {
  std::vector<handler_call> calls;
  int32_t status = 0;  // what every one of them returns
};
inline handlers_state handlers;

/// Registers the tables; the calls of earlier tests are forgotten, the level is 0, the records are the defaults.
void test_tree_reset();

/// Runs `line` and returns what it printed; `result` gets its status.
std::string test_line_run(const char* line, int32_t* result);
