// The line editor, with our terminal in front and the keys that it lacks behind: moves by words, and characters of more
// than one byte moved over and deleted whole. The editor knows single bytes; what is wider becomes so many of its own
// keys.
#include "terminal.h"

#include <linenoise.c>

#undef read

#include "keys.h"

// What is still to be given of a key.
static char kx_key_repeated;
static size_t kx_key_repeats;

static int kx_is_inside_character(char byte) {
  return ((unsigned char)byte & 0xC0) == 0x80;
}

static int kx_is_of_word(char byte) {
  return isalnum((unsigned char)byte) || byte == '_' || (unsigned char)byte >= 0x80;
}

static size_t kx_character_left(const struct linenoiseState* line) {
  size_t to = line->pos;
  while (to > 0 && kx_is_inside_character(line->buf[--to])) {
  }
  return line->pos - to;
}

static size_t kx_character_right(const struct linenoiseState* line) {
  size_t to = line->pos;
  while (to < line->len && kx_is_inside_character(line->buf[++to])) {
  }
  return to - line->pos;
}

static size_t kx_word_left(const struct linenoiseState* line) {
  size_t to = line->pos;
  while (to > 0 && !kx_is_of_word(line->buf[to - 1])) {
    --to;
  }
  while (to > 0 && kx_is_of_word(line->buf[to - 1])) {
    --to;
  }
  return line->pos - to;
}

static size_t kx_word_right(const struct linenoiseState* line) {
  size_t to = line->pos;
  while (to < line->len && !kx_is_of_word(line->buf[to])) {
    ++to;
  }
  while (to < line->len && kx_is_of_word(line->buf[to])) {
    ++to;
  }
  return to - line->pos;
}

// How often the editor's own key `*own` is to be given for `key`; 0 where there is nothing to move over or to delete.
static size_t kx_key_translate(const struct linenoiseState* line, int key, char* own) {
  switch (key) {
    case KX_KEY_LEFT:
      *own = CTRL_B;
      return kx_character_left(line);
    case KX_KEY_RIGHT:
      *own = CTRL_F;
      return kx_character_right(line);
    case KX_KEY_WORD_LEFT:
      *own = CTRL_B;
      return kx_word_left(line);
    case KX_KEY_WORD_RIGHT:
      *own = CTRL_F;
      return kx_word_right(line);
    case KX_KEY_DELETE:
      *own = CTRL_D;
      return kx_character_right(line);
    case BACKSPACE:
    case CTRL_H:
      *own = BACKSPACE;
      return kx_character_left(line);
    case CTRL_D:  // in an empty line it is the end of the input
      *own = CTRL_D;
      return line->len == 0 ? 1 : kx_character_right(line);
    default:
      *own = (char)key;
      return 1;
  }
}

static ssize_t kx_line_read(const int* input, char* key) {
  const struct linenoiseState* line = (const struct linenoiseState*)input;  // its first member
  while (kx_key_repeats == 0) {
    const int pressed = kx_key_read(*input);
    if (pressed == KX_KEY_END) {
      return 0;
    }
    kx_key_repeats = kx_key_translate(line, pressed, &kx_key_repeated);
  }
  --kx_key_repeats;
  *key = kx_key_repeated;
  return 1;
}
