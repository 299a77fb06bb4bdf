// Runs the real tool under the virtual card, the way a user does.
//
//   auto result = kx_system::run({.card = R"({"information": {"temperatures": [150]}})",
//                                 .words = {"temp_info", "eth0", "chip_temp"}});
//   EXPECT_EQ(result.status, 0);
//   EXPECT_THAT(result.log_of("ioctl "), ...);
//
// Every run has a folder of its own for the card file, the request log and the kept state; it is removed with the
// object.
#pragma once

#include <gmock/gmock.h>
#include <sys/types.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "temp_folder.h"

namespace kx_system {

using std::chrono::milliseconds;

// The words in which the tests say what a run must show: they take them from here with the rest of the namespace.
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

/// Variables of the environment that force the room and the trap of every run; kxvcard chooses without.
inline constexpr const char* room_variable = "KX_SYSTEM_ROOM";
inline constexpr const char* trap_variable = "KX_SYSTEM_TRAP";

/// What LSAN_OPTIONS holds where the trap is ptrace: the leak check of a sanitized build traces its process itself, and
/// ends the run when another one does already. The same runs are checked for leaks under the other trap.
inline constexpr const char* traced_leak_options = "detect_leaks=0";

using Folder = temp_folder;

struct Command {
  std::string card = "{}";              // the card file
  std::vector<std::string> words = {};  // the words of the tool; none for its shell
  std::string input = {};               // standard input, from a pipe that is closed behind it
  bool input_is_file = false;           // standard input is a regular file instead
  bool terminal = false;                // all three streams are a pseudo-terminal; `input` is not used
  unsigned short columns = 0;           // of the terminal; like a serial line, it has no size when 0
  std::string state = {};               // kept folder of kxvcard (--state), "" for none
  std::string program = KX_SYSTEM_KXTOOL;
  std::vector<std::string> environment = {};  // "NAME=value" on top of this process's own
};

struct Result {
  int status = -1;  // exit status of kxvcard, which is the command's; -1 when the time limit ended the run
  bool timed_out = false;
  std::string out;  // a terminal has everything here
  std::string err;
  std::vector<std::string> log;  // the lines of the request log

  /// The lines of the log that begin with `prefix`.
  std::vector<std::string> log_of(std::string_view prefix) const;
};

std::vector<std::string> lines_of(const std::string& text);

/// The words of a line, split at blanks.
std::vector<std::string> words_of(std::string_view line);

/// A script of the system's shell in which $KXTOOL is the tool.
Command script(const std::string& text, const std::string& card = "{}");

/// A run that is under way. The destructor kills it.
class Process {
 public:
  explicit Process(const Command& command);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  /// Types `text` on the terminal, or writes it to standard input while that is open.
  void send(std::string_view text);
  /// Waits until `text` appears on standard output behind the last match. False at the time limit.
  bool expect(std::string_view text, milliseconds limit = milliseconds(60000));
  /// What standard output has brought so far.
  const std::string& output() const {
    return result_.out;
  }
  /// Waits until some line of the request log holds `text`. False at the time limit.
  bool expect_log(std::string_view text, milliseconds limit = milliseconds(60000));

  /// The processes of the tool under this virtual card, oldest first.
  std::vector<pid_t> tools() const;
  /// Sends a signal to kxvcard itself.
  void signal(int number) const;
  pid_t pid() const {
    return pid_;
  }

  /// Closes standard input and waits for the end, for the time limit of the command at most, then kills.
  Result wait();

 private:
  void spawn(const Command& command);
  bool pump(milliseconds limit);
  std::string log_text() const;
  void close_streams();

  Folder folder_;
  std::string program_;
  pid_t pid_ = -1;
  int input_ = -1;  // the same as output_ on a terminal
  int output_ = -1;
  int error_ = -1;
  std::string pending_;  // input that the pipe has not taken yet
  bool input_ends_ = false;
  size_t matched_ = 0;
  Result result_;
};

/// Starts `command` and waits for its end.
Result run(const Command& command);

}  // namespace kx_system
