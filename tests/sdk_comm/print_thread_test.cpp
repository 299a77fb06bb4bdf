// Printing from several threads while its settings change: every text stays whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

namespace {

TEST(PrintThreads, KeepEveryTextWhole) {
  constexpr int THREADS = 4;
  constexpr int TEXTS = 300;
  const std::uint32_t allocations = qlix_comm_get_malloc_num();
  testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < THREADS; ++thread) {
    threads.emplace_back([thread] {
      const std::string text(100, static_cast<char>('a' + thread));
      for (int i = 0; i < TEXTS; ++i) {
        QLIX_COMM_PRINT("%s\n", text.c_str());
        QLIX_COMM_TRACE_DEBUG("%s\n", text.c_str());
        qlix_comm_set_print_level(i % 2 == 0 ? QLIX_TRACE_ALL_PRINT : QLIX_TRACE_PRINT);
        ic_comm_free_memory(ic_comm_malloc_memory(16));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_GE(std::count(printed.begin(), printed.end(), '\n'), THREADS * TEXTS);
  for (std::size_t begin = 0; begin < printed.size();) {
    const std::size_t end = printed.find('\n', begin);
    ASSERT_EQ(end - begin, 100u);
    ASSERT_EQ(printed.substr(begin, 100), std::string(100, printed[begin]));
    begin = end + 1;
  }
  EXPECT_EQ(qlix_comm_get_malloc_num(), allocations);
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
}

}  // namespace
