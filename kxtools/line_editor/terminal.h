// What stands between the line editor's source and the terminal, read in front of that source.
//
// The editor looks after one line at a time: when it takes the terminal and when it gives it back, it drops what was
// typed, it takes no newline for Enter, and it asks a terminal without a size for one. So a shell on it would lose the
// lines typed while a command runs and all but the first line of a pasted block. Of the keys it knows a few: the rest
// of a longer sequence would go into the line.
#pragma once

#include <string.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

// Keeps what was typed. Enter arrives as the same character in both modes, because the rest of a pasted block may be
// read in the other one: by a question of a command, or behind it.
static inline int kx_terminal_mode_set(int fd, const struct termios* mode) {
  struct termios kept = *mode;
  if ((kept.c_lflag & ICANON) == 0) {
    kept.c_iflag |= ICRNL;
  }
  return tcsetattr(fd, TCSADRAIN, &kept);
}

// A serial line has no size, a file neither: the editor would look for the answer to its question among the keys. In
// a line that is shorter than the prompt it would reckon with negative lengths; such a terminal wraps lines by itself.
static inline int kx_terminal_size_get(struct winsize* size) {
  const unsigned short prompt_and_some = 40;
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, size) < 0 || size->ws_col < prompt_and_some) {
    size->ws_col = 80;
  }
  return 0;
}

// One byte for the editor: a character, or a control key that it gives a meaning. `input` is the first member of the
// line's state. As read() does, 1, 0 at the end of the input, or -1.
static ssize_t kx_line_read(const int* input, char* key);

// One function of the source, which nobody calls, reads from the number itself: it gets an address, too.
static const int kx_standard_input = STDIN_FILENO;
#undef STDIN_FILENO
#define STDIN_FILENO kx_standard_input

#define tcsetattr(fd, when, mode) kx_terminal_mode_set(fd, mode)
#define read(fd, key, length) kx_line_read(&(fd), key)
#define ioctl(fd, request, size) kx_terminal_size_get(size)
