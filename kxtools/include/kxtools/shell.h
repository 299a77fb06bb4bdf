// Interactive shell: prompt, permission level, completion and the read loop.
#pragma once

#include <cstdint>
#include <string>

struct kxtools_cmd_context;

/// Rebuilds the prompt from the permission level and the sbdf text of the bound device (empty: none). 0 or -1.
int32_t kxtools_prompt_set(const char* sbdf);
const char* kxtools_prompt_get();

/// Permission level: 0 normal user, 1 super user.
uint32_t kxtools_permission_get();
int32_t kxtools_permission_switch(kxtools_cmd_context* ctx);  ///< "su"
int32_t kxtools_permission_logout(kxtools_cmd_context* ctx);  ///< "logout"
int32_t kxtools_quit(kxtools_cmd_context* ctx);               ///< "quit"
/// "sbdf", and the start of the shell (with a null context): lets the user choose a device and, when one was chosen,
/// reads its compatibility records and initialises the modules' device state. Returns 0 or -1.
int32_t kxtools_sbdf_switch(kxtools_cmd_context* ctx);

/// What completes `line` at the current permission level: the rest of the word (may be empty) and whether the match
/// was unique. False when nothing matches.
bool kxtools_cmd_complete(const char* line, std::string* suffix, bool* unique);

/// Marks the process as interactive and makes its input safe to share with children: nothing is read ahead, so a child
/// that exits cannot move a file back over lines that have been read. Before the first line is read.
void kxtools_interactive_set();
/// For a forked child: in the interactive shell, unless the input is a terminal, gives the child an empty input,
/// because what follows there are the shell's next lines.
void kxtools_child_input_detach();
/// Reads and executes lines until "quit" or end of input. Returns the OR of all results.
int32_t kxtools_shell_run();
