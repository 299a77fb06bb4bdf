// One command line: split into words, walked through the tree, its words owned until the line is done.
#pragma once

#include <memory>

#include "kxtools/cmd.h"

/// Walk results other than 0 (matched).
inline constexpr int32_t KXTOOLS_MATCH_INVALID = -1;
inline constexpr int32_t KXTOOLS_MATCH_NO_PERMISSION = -4096;
inline constexpr int32_t KXTOOLS_MATCH_NO_COMMAND = -4098;

/// Frees the context, its words and the word array, wherever the walk has moved `argp`.
void kxtools_cmd_context_free(kxtools_cmd_context* ctx);

struct kxtools_cmd_context_deleter {
  void operator()(kxtools_cmd_context* ctx) const {
    kxtools_cmd_context_free(ctx);
  }
};
using kxtools_cmd_context_owner = std::unique_ptr<kxtools_cmd_context, kxtools_cmd_context_deleter>;

/// A zeroed context with the words of `line`, split at runs of blanks (0x20 and nothing else). Null for a null or empty
/// line, and with a message when memory runs out. A line of blanks gives a context without words.
kxtools_cmd_context_owner kxtools_cmd_context_malloc(const char* line);

/// Walks `table` with the context's words: consumes every word that names an entry and sets `cmd` to the entry matched
/// last. Returns 0 or one of the results above; `cmd` is null after a permission refusal.
int32_t kxtools_cmd_match(kxtools_cmd_context* ctx, const kxtools_cmd_entry* table, uint32_t count);
