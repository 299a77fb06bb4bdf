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

/// What completes `line` at the current permission level: the rest of the word (may be empty) and whether the match
/// was unique. False when nothing matches.
bool kxtools_cmd_complete(const char* line, std::string* suffix, bool* unique);

/// Marks the process as interactive; before kxtools_shell_run.
void kxtools_interactive_set();
/// Reads and executes lines until "quit" or end of input. Returns the OR of all results.
int32_t kxtools_shell_run();
