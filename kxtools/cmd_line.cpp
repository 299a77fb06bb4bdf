#include "cmd_line.h"

#include <cstdlib>
#include <cstring>

#include "common/report.h"

namespace {

// What kxtools_cmd_context_malloc really hands out: the walk moves `argp`, this keeps what must be freed.
struct owned_context : kxtools_cmd_context {
  char** words;
  uint32_t word_num;
};

}  // namespace

void kxtools_cmd_context_free(kxtools_cmd_context* ctx) {
  if (ctx == nullptr) {
    return;
  }
  auto* owned = static_cast<owned_context*>(ctx);
  for (uint32_t i = 0; i < owned->word_num; i++) {
    free(owned->words[i]);
  }
  free(owned->words);
  free(owned);
}

kxtools_cmd_context_owner kxtools_cmd_context_malloc(const char* line) {
  if (line == nullptr || line[0] == '\0') {
    return nullptr;
  }
  kxtools_cmd_context_owner ctx(static_cast<owned_context*>(calloc(1, sizeof(owned_context))));
  if (ctx == nullptr) {
    KXTOOLS_ERR("malloc failed!\n");
    return nullptr;
  }
  auto* owned = static_cast<owned_context*>(ctx.get());
  const char* start = line + strspn(line, " ");
  while (*start != '\0') {
    const size_t length = strcspn(start, " ");
    auto* grown = static_cast<char**>(realloc(owned->words, (owned->word_num + size_t{1}) * sizeof(char*)));
    if (grown == nullptr) {
      KXTOOLS_ERR("realloc failed!\n");
      return nullptr;
    }
    owned->words = grown;
    char* word = strndup(start, length);
    if (word == nullptr) {
      KXTOOLS_ERR("argp strdup failed!\n");
      return nullptr;
    }
    owned->words[owned->word_num++] = word;
    start += length;
    start += strspn(start, " ");
  }
  ctx->argc = owned->word_num;
  ctx->argp = owned->words;
  return ctx;
}

int32_t kxtools_cmd_match(kxtools_cmd_context* ctx, const kxtools_cmd_entry* table, uint32_t count) {
  if (ctx == nullptr || table == nullptr || ctx->argp == nullptr) {
    return KXTOOLS_MATCH_INVALID;
  }
  if (ctx->argc == 0) {
    return 0;
  }
  uint32_t index = 0;
  if (kxtools_cmd_index_get(ctx->argp[0], table, count, &index) != 0) {
    return KXTOOLS_MATCH_NO_COMMAND;
  }
  const kxtools_cmd_entry& entry = table[index];
  if (entry.permission > ctx->permission) {
    ctx->cmd = nullptr;
    return KXTOOLS_MATCH_NO_PERMISSION;
  }
  ctx->argc--;
  ctx->argp++;
  ctx->cmd = &entry;
  if (entry.sub_cmd_list == nullptr || entry.sub_cmd_num == 0) {
    return 0;
  }
  return kxtools_cmd_match(ctx, entry.sub_cmd_list, entry.sub_cmd_num);
}
