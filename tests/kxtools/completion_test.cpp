// Completion from the live tree: what the user may run is what he is offered.
#include <gtest/gtest.h>

#include "kxtools/shell.h"
#include "test_tree.h"

namespace {

TEST(Completion, OffersTheRestOfTheWordAndABlankWhenItIsTheOnlyOne) {
  const struct {
    uint32_t level;
    const char* line;
    const char* completed;  // null: nothing is offered
  } cases[] = {
      {0, "", nullptr},
      {0, "q", "quit "},
      {0, "  q", "  quit "},
      {0, "quit", "quit "},
      {0, "quit ", nullptr},
      {0, "kx", "kx"},
      {0, "kxt", "kxt"},
      {0, "kxtr", "kxtrace_app "},
      {0, "kxtoo", "kxtool "},
      {0, "kxtool r", "kxtool repair "},
      {1, "kxtool r", "kxtool re"},
      {1, "kxtool reg", "kxtool regs"},
      {1, "kxtool res", "kxtool reset "},
      {0, "kxtool res", nullptr},
      {0, "kxtool -f", "kxtool -f"},
      {0, "kxtool -fw", "kxtool -fw "},
      {0, "kxtool   sn", "kxtool   sn_info "},
      {0, "kxtool", "kxtool "},
      {0, "kxtool ", "kxtool "},
      {0, "kxtool sn_info e", nullptr},
      {0, "kxnp group d", "kxnp group deep "},
      {1, "kxnp group d", "kxnp group deep"},
      {0, "kxnp hidden d", nullptr},
      {0, "kxrdma x", nullptr},
      {0, "Q", nullptr},
      {0, "quitx", nullptr},
  };
  for (const auto& c : cases) {
    test_tree_reset();
    if (c.level == 1) {
      int32_t result = -1;
      test_line_run("su opsu", &result);
      ASSERT_EQ(result, 0);
    }
    std::string suffix;
    bool unique = false;
    const bool found = kxtools_cmd_complete(c.line, &suffix, &unique);
    EXPECT_EQ(found, c.completed != nullptr) << c.level << " '" << c.line << "'";
    if (found && c.completed != nullptr) {
      EXPECT_EQ(c.line + suffix + (unique ? " " : ""), c.completed);
    }
  }
}

}  // namespace
