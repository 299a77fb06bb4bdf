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

// Makes room for one more word. The array doubles whenever it is full, which it is at every power of two.
bool room_make(owned_context* ctx) {
  const size_t count = ctx->word_num;
  if ((count & (count - 1)) != 0) {
    return true;
  }
  auto* grown = static_cast<char**>(realloc(ctx->words, (count == 0 ? 1 : count * 2) * sizeof(char*)));
  if (grown == nullptr) {
    return false;
  }
  ctx->words = grown;
  return true;
}

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
  auto* owned = static_cast<owned_context*>(calloc(1, sizeof(owned_context)));
  if (owned == nullptr) {
    KXTOOLS_ERR("malloc failed!\n");
    return nullptr;
  }
  kxtools_cmd_context_owner ctx(owned);
  const char* start = line + strspn(line, " ");
  while (*start != '\0') {
    const size_t length = strcspn(start, " ");
    if (!room_make(owned)) {
      KXTOOLS_ERR("realloc failed!\n");
      return nullptr;
    }
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
