// Interactive shell: its built-in commands, completion and the read loop.
#pragma once

#include <cstdint>
#include <string>

struct kxtools_cmd_context;

// The built-in commands.
int32_t kxtools_permission_switch(kxtools_cmd_context* ctx);  ///< "su"
int32_t kxtools_permission_logout(kxtools_cmd_context* ctx);  ///< "logout"
int32_t kxtools_quit(kxtools_cmd_context* ctx);               ///< "quit"
/// "sbdf", and the start of the shell (with a null context): lets the user choose a device and, when one was chosen,
/// reads its compatibility records and initialises the modules' device state. Returns 0 or -1.
int32_t kxtools_sbdf_switch(kxtools_cmd_context* ctx);

/// What completes `line` at the current permission level: the rest of the word (may be empty) and whether the match
/// was unique. False when nothing matches.
bool kxtools_cmd_complete(const char* line, std::string* suffix, bool* unique);

/// Reads and executes lines until "quit" or end of input. Returns the OR of all results.
int32_t kxtools_shell_run();
