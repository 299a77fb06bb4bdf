// What holds for the user at the keyboard: prompt, permission level, shell or single line.
#pragma once

#include <cstdint>

/// Rebuilds the prompt from the permission level and the sbdf text of the bound device (empty: none). 0 or -1.
int32_t kxtools_prompt_set(const char* sbdf);
const char* kxtools_prompt_get();

/// Permission level: 0 normal user, 1 super user.
inline constexpr uint32_t KXTOOLS_LEVEL_USER = 0;
inline constexpr uint32_t KXTOOLS_LEVEL_SUPER = 1;
uint32_t kxtools_permission_get();
void kxtools_permission_set(uint32_t level);

/// Marks the process as interactive and makes its input safe to share with children: nothing is read ahead, so a child
/// that exits cannot move a file back over lines that have been read. Before the first line is read.
void kxtools_interactive_set();
/// 1 in the interactive shell, 0 in one-shot mode.
uint32_t kxtools_is_interactive_get();
/// For a forked child: in the interactive shell, unless the input is a terminal, gives the child an empty input,
/// because what follows there are the shell's next lines.
void kxtools_child_input_detach();
