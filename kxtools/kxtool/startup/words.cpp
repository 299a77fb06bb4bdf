#include "startup/words.h"

#include <cstring>

#include "common/nearest.h"
#include "common/report.h"

void kxtool_words_explain(const kxtool_cmd_ctx& ctx, std::span<const char* const> expected) {
  for (size_t i = 0; i < expected.size(); ++i) {
    if (i >= ctx.argc) {
      const char* quote = expected[i] == nullptr ? "" : "'";
      kx_error_print("kxtool: %s: %s%s%s is missing: '%s -h' shows the words\n", ctx.name, quote,
                     expected[i] == nullptr ? "a value" : expected[i], quote, ctx.name);
      return;
    }
    if (expected[i] == nullptr || strcmp(ctx.argv[i], expected[i]) == 0) {
      continue;
    }
    kx_nearest nearest(ctx.argv[i]);
    nearest.offer(expected[i]);
    if (nearest.name() != nullptr) {
      kx_error_print("kxtool: %s: '%s' is unknown: did you mean '%s'?\n", ctx.name, ctx.argv[i], nearest.name());
    } else {
      kx_error_print("kxtool: %s: '%s' stands where '%s' must\n", ctx.name, ctx.argv[i], expected[i]);
    }
    return;
  }
  if (ctx.argc > expected.size()) {
    kx_error_print("kxtool: %s: '%s' is one word too many\n", ctx.name, ctx.argv[expected.size()]);
  }
}
