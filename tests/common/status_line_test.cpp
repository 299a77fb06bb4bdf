// The status line on a terminal, and the lines that take it away.
#include "common/status_line.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "common/progress_bar.h"
#include "common/report.h"

namespace {

// What `body` writes to a terminal of `columns`.
std::string on_terminal(unsigned short columns, const std::function<void()>& body) {
  int terminal = -1;
  struct winsize size = {};
  size.ws_col = columns;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    body();
    fflush(stdout);
    _exit(0);
  }
  std::string text;
  char block[256];
  for (ssize_t length = 0; (length = read(terminal, block, sizeof block)) > 0;) {
    text.append(block, static_cast<size_t>(length));
  }
  close(terminal);
  waitpid(child, nullptr, 0);
  return text;
}

constexpr const char* CLEAR = "\r\033[K";

TEST(StatusLine, EveryOtherLineTakesItAway) {
  const auto show = [](void (*print)()) {
    return on_terminal(80, [&] {
      kx_status_show("half way");
      print();
      print();
    });
  };
  const std::string begin = std::string(CLEAR) + "half way\r" + CLEAR;
  EXPECT_EQ(show([] { kx_print("out\n"); }), begin + "out\r\nout\r\n");
  EXPECT_EQ(show([] { kx_error_print("err\n"); }), begin + "err\r\nerr\r\n");
  EXPECT_EQ(show([] { kx_line_print(KX_STYLE_MTS_ERR, "f", 1, "x\n"); }),
            begin + "mts_err: [f][1]x\r\nmts_err: [f][1]x\r\n");
}

TEST(StatusLine, NeverWraps) {
  EXPECT_EQ(on_terminal(8, [] { kx_status_show("0123456789"); }), std::string(CLEAR) + "0123456\r");
  EXPECT_EQ(on_terminal(21, [] { const kx_progress_bar bar("dump", 0); }),
            std::string(CLEAR) + "dump [########] 100%\r" + CLEAR);
}

}  // namespace
