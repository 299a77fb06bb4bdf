// The keys of a terminal: one key a call, whatever sequence the terminal sends for it.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

enum kx_key {
  // 1 to 255: the byte itself, a character (or a part of one) or a control key; what follows lies above.
  KX_KEY_END = 0,     // the end of the input, or an error
  KX_KEY_LEFT = 256,  // a character to the left
  KX_KEY_RIGHT,
  KX_KEY_WORD_LEFT,   // to the begin of the word
  KX_KEY_WORD_RIGHT,  // to the end of the word
  KX_KEY_DELETE,      // the character under the cursor
};

/// The next key of the terminal `fd` (raw mode). Sequences of keys without a meaning here (function keys, Insert,
/// pages, with whatever modifier) are read to their end and skipped, as is Escape alone; a null is no key.
int kx_key_read(int fd);

#ifdef __cplusplus
}
#endif
