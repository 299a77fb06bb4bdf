#include "keys.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr int KEY_NONE = -1;
constexpr unsigned char ESCAPE = 0x1B;

// A sequence arrives in one piece, or nearly so on a slow line; behind Escape alone nothing comes.
constexpr int SEQUENCE_MS = 100;

// Longer ones are no key's.
constexpr int SEQUENCE_MAX = 32;

constexpr int control(char letter) {
  return letter - '@';
}

bool byte_read(int fd, unsigned char* byte) {
  ssize_t length = 0;
  do {
    length = read(fd, byte, 1);
  } while (length < 0 && errno == EINTR);
  return length == 1;
}

bool byte_follows(int fd, unsigned char* byte) {
  pollfd set = {.fd = fd, .events = POLLIN, .revents = 0};
  return poll(&set, 1, SEQUENCE_MS) == 1 && byte_read(fd, byte);
}

struct sequence {
  unsigned char final = 0;  // 0: it broke off
  unsigned first = 0;       // its first number: which key
  unsigned last = 0;        // its last one: the modifiers, one above their bits
  bool is_single_shift = false;
};

// Behind "ESC [" or "ESC O": numbers, marks, and a letter or '~' at the end. The console's function keys have a second
// '['.
sequence sequence_read(int fd, bool is_single_shift) {
  sequence read = {.is_single_shift = is_single_shift};
  unsigned numbers = 1;
  unsigned char byte = 0;
  for (int i = 0; i < SEQUENCE_MAX && byte_follows(fd, &byte); ++i) {
    if (byte >= '0' && byte <= '9') {
      read.last = read.last % 100 * 10 + (byte - '0');
      read.first = numbers == 1 ? read.last : read.first;
    } else if (byte == ';') {
      ++numbers;
      read.last = 0;
    } else if (byte == '[' && i == 0) {
      byte_follows(fd, &byte);
      return read;
    } else if (byte >= '@' && byte <= '~') {
      read.final = byte;
      read.last = numbers == 1 && byte == '~' ? 0 : read.last;
      return read;
    } else if (byte < ' ') {
      return read;
    }
  }
  return read;
}

// Alt or Ctrl with an arrow moves by words.
int moved(const sequence& read, int character, int word) {
  constexpr unsigned ALT = 2;
  constexpr unsigned CTRL = 4;
  return read.last != 0 && ((read.last - 1) & (ALT | CTRL)) != 0 ? word : character;
}

int numbered_key(unsigned number) {
  switch (number) {
    case 1:
    case 7:
      return control('A');
    case 4:
    case 8:
      return control('E');
    case 3:
      return KX_KEY_DELETE;
    default:
      return KEY_NONE;
  }
}

int sequence_key(const sequence& read) {
  switch (read.final) {
    case 'A':
      return control('P');
    case 'B':
      return control('N');
    case 'C':
      return moved(read, KX_KEY_RIGHT, KX_KEY_WORD_RIGHT);
    case 'D':
      return moved(read, KX_KEY_LEFT, KX_KEY_WORD_LEFT);
    case 'c':  // some terminals have letters of their own, with Shift behind '[' and with Ctrl behind 'O'
      return read.is_single_shift ? KX_KEY_WORD_RIGHT : KX_KEY_RIGHT;
    case 'd':
      return read.is_single_shift ? KX_KEY_WORD_LEFT : KX_KEY_LEFT;
    case 'H':
      return control('A');
    case 'F':
      return control('E');
    case '~':
      return numbered_key(read.first);
    default:
      return KEY_NONE;
  }
}

// Behind Escape: a sequence, or the character that was typed with Alt.
int escaped_key(int fd) {
  unsigned char byte = 0;
  if (!byte_follows(fd, &byte)) {
    return KEY_NONE;
  }
  switch (byte) {
    case '[':
    case 'O':
      return sequence_key(sequence_read(fd, byte == 'O'));
    case 'b':
      return KX_KEY_WORD_LEFT;
    case 'f':
      return KX_KEY_WORD_RIGHT;
    case 0x7F:
    case 0x08:
      return control('W');
    case ESCAPE:
      return escaped_key(fd);
    default:
      return byte == '\r' || byte == '\n' ? '\r' : KEY_NONE;
  }
}

// Of the control keys, those that the editor gives a meaning; the others would go into the line, where nobody sees
// them.
int plain_key(unsigned char byte) {
  switch (byte) {
    case '\n':
      return '\r';
    case 0x02:
      return KX_KEY_LEFT;
    case 0x06:
      return KX_KEY_RIGHT;
    default:
      break;
  }
  if (byte >= ' ') {
    return byte;
  }
  for (const char* letter = "ACDEHIKLMNPTUW"; *letter != '\0'; ++letter) {
    if (byte == control(*letter)) {
      return byte;
    }
  }
  return KEY_NONE;
}

}  // namespace

int kx_key_read(int fd) {
  int key = KEY_NONE;
  unsigned char byte = 0;
  while (key == KEY_NONE) {
    if (!byte_read(fd, &byte)) {
      return KX_KEY_END;
    }
    key = byte == ESCAPE ? escaped_key(fd) : plain_key(byte);
  }
  return key;
}
