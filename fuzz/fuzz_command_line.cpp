// Command lines: splitting, the walk of the tree, completion. What completes a line completes nothing more the second
// time, and the words of a line are its non-blank parts.
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "cmd_line.h"
#include "kxtools/shell.h"

namespace {

constexpr kxtools_cmd_entry LEAVES[] = {
    {"deep", nullptr, nullptr, 0, 0, 0, 0, 0, nullptr},
    {"deeper", nullptr, nullptr, 1, 0, 0, 0, 0, nullptr},
};
constexpr kxtools_cmd_entry ENTRIES[] = {
    {"-f", nullptr, nullptr, 0, 0, 0, 0, 0, nullptr},     {"-fw", nullptr, nullptr, 0, 0, 0, 0, 0, nullptr},
    {"repair", nullptr, nullptr, 0, 0, 0, 0, 0, nullptr}, {"reset", nullptr, nullptr, 1, 0, 0, 0, 0, nullptr},
    {"group", nullptr, nullptr, 0, 0, 0, 0, 2, LEAVES},   {"group_root", nullptr, nullptr, 1, 0, 0, 0, 2, LEAVES},
};

void require(bool condition) {
  if (!condition) {
    abort();
  }
}

void walk(const char* line) {
  const kxtools_cmd_context_owner ctx = kxtools_cmd_context_malloc(line);
  if (ctx == nullptr) {
    require(line[0] == '\0');
    return;
  }
  std::string joined;
  for (uint32_t i = 0; i < ctx->argc; i++) {
    joined += ctx->argp[i];
  }
  std::string without_blanks(line);
  std::erase(without_blanks, ' ');
  require(joined == without_blanks);

  const uint32_t words = ctx->argc;
  const int32_t result = kxtools_cmd_match(ctx.get(), kxtools_cmd_list_addr_get(), kxtools_cmd_list_count_get());
  require(ctx->argc <= words);
  require(result != 0 || words == 0 || ctx->cmd != nullptr);
}

void complete(const std::string& line) {
  std::string suffix;
  bool unique = false;
  if (kxtools_cmd_complete(line.c_str(), &suffix, &unique)) {
    std::string rest;
    require(kxtools_cmd_complete((line + suffix).c_str(), &rest, &unique) && rest.empty());
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  kxtools_cmd_register(KXTOOLS_MODULE_KXTOOL, ENTRIES, std::size(ENTRIES));
  kxtools_cmd_register(KXTOOLS_MODULE_KXNP, ENTRIES, std::size(ENTRIES));
  return freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  walk(line.c_str());
  complete(line.c_str());
  return 0;
}
