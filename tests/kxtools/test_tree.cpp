#include "test_tree.h"

#include <gtest/gtest.h>

#include "../printed.h"

namespace {

int32_t record_call(kxtools_cmd_context* ctx) {
  handlers.calls.push_back({ctx->cmd->name, std::vector<std::string>(ctx->argp, ctx->argp + ctx->argc)});
  return handlers.status;
}

constexpr kxtools_cmd_entry LEAVES[] = {
    {"deep", "deep help", record_call, 0, 0, 0, 0, 0, nullptr},
    {"deep_root", nullptr, record_call, 1, 0, 0, 0, 0, nullptr},
};
constexpr kxtools_cmd_entry NP[] = {
    {"show", nullptr, record_call, 0, 0, 0, 0, 0, nullptr},
    {"group", "group help", nullptr, 0, 0, 0, 0, 2, LEAVES},
    {"hidden", "hidden group", nullptr, 1, 0, 0, 0, 2, LEAVES},
};
constexpr kxtools_cmd_entry TOOL[] = {
    {"-f", "    COMMAND:\n    -f\n", record_call, 0, 0, 0, 0, 0, nullptr},
    {"-fw", "    x", record_call, 0, 0, 0, 0, 0, nullptr},
    {"-v", "    ", record_call, 0, 255, 255, 255, 0, nullptr},
    {"repair", "help", record_call, 0, 255, 255, 255, 0, nullptr},
    {"regsdump", "help", record_call, 1, 0, 0, 0, 0, nullptr},
    {"regsmem", "help", record_call, 1, 0, 0, 0, 0, nullptr},
    {"reset", "help", record_call, 1, 0, 0, 0, 0, nullptr},
    {"sn_info", "help", record_call, 0, 0, 0, 0, 0, nullptr},
};

}  // namespace

void test_tree_reset() {
  handlers = {};
  EXPECT_EQ(kxtools_compat_info_init(), 0);
  EXPECT_EQ(kxtools_dev_info_init(), 0);
  EXPECT_EQ(kxtools_cmd_register(KXTOOLS_MODULE_KXTOOL, TOOL, std::size(TOOL)), 0);
  EXPECT_EQ(kxtools_cmd_register(KXTOOLS_MODULE_KXNP, NP, std::size(NP)), 0);
  EXPECT_EQ(kxtools_cmd_execute("logout"), 0);
}

std::string test_line_run(const char* line, int32_t* result) {
  return printed([&] { *result = kxtools_cmd_execute(line); });
}
