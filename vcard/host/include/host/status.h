// How kxvcard itself fails: one line on standard error and an exit status of its own.
#pragma once

namespace vcard {

enum ExitStatus : int {
  exit_usage = 2,           // wrong words, or a card file that is not accepted
  exit_failure = 70,        // the host failed an operation that it otherwise allows
  exit_not_supported = 77,  // the host forbids what the virtual card is made of: tests are skipped
  exit_not_executable = 126,
  exit_not_found = 127,
};

/// Prints "kxvcard: " and the text as one line on standard error and returns `status`.
__attribute__((format(printf, 2, 3))) int host_error(int status, const char* format, ...);

}  // namespace vcard
