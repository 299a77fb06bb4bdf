// Levels, switches and log routes of printing; the lines and codes of the checks; the memory counters.
#include "qlix_comm/print.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

#include "../line_numbers.h"
#include "../memory_fault.h"
#include "../printed.h"
#include "qlix_comm/check.h"
#include "qlix_comm/mutex.h"

namespace {

std::string logged;

void log_take(const char* text, std::size_t length) {
  logged.append(text, length);
}

std::string read_back(FILE* file) {
  std::string text(4096, '\0');
  text.resize(static_cast<std::size_t>(pread(fileno(file), text.data(), text.size(), 0)));
  return text;
}

class PrintTest : public testing::Test {
 protected:
  void TearDown() override {
    qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
    qlix_comm_set_print_en(1);
    qlix_comm_set_log_en(0);
    qlix_comm_set_log_type(QLIX_LOG_TYPE_PRINT);
    qlix_comm_set_dump_log_en(0);
    qlix_comm_set_print_callback(nullptr);
    qlix_comm_set_log_fd(STDERR_FILENO);
    qlix_comm_set_dump_log_fd(STDERR_FILENO);
    logged.clear();
  }
};

TEST_F(PrintTest, LevelsSelectTraces) {
  const struct {
    std::uint32_t level;
    const char* expected;
  } cases[] = {{0, "p"}, {1, "peE"}, {2, "peEi"}, {3, "peEid"}, {4, "peEid"}, {5, "p"}, {0xFFFFFFFF, "p"}};
  for (const auto& c : cases) {
    qlix_comm_set_print_level(c.level);
    EXPECT_EQ(qlix_comm_get_print_level(), c.level);
    EXPECT_EQ(printed([] {
                QLIX_COMM_PRINT("p");
                QLIX_COMM_TRACE_ERROR("e");
                QLIX_COMM_TRACE_DEV_ERROR(3, "E");
                QLIX_COMM_TRACE_INFO("i");
                QLIX_COMM_TRACE_DEBUG("d");
              }),
              c.expected)
        << "level " << c.level;
  }
}

TEST_F(PrintTest, SwitchesRouteOutputAndLog) {
  const auto both = [] {
    QLIX_COMM_PRINT("print;");
    QLIX_COMM_TRACE_ERROR("trace;");
  };
  qlix_comm_set_print_callback(log_take);
  EXPECT_EQ(printed(both), "print;trace;");
  EXPECT_EQ(logged, "") << "the log switch is off";
  qlix_comm_set_log_en(1);
  qlix_comm_set_print_en(0);
  EXPECT_EQ(printed(both), "");
  EXPECT_EQ(logged, "print;trace;");
  logged.clear();
  qlix_comm_set_log_type(~QLIX_LOG_TYPE_PRINT);
  both();
  EXPECT_EQ(logged, "trace;") << "the control word keeps normal output from the log";
}

TEST_F(PrintTest, LogWriterAndDumpLogTakeWhatTheCallbackDoesNot) {
  FILE* const log = tmpfile();
  FILE* const dump = tmpfile();
  qlix_comm_set_print_en(0);
  qlix_comm_set_log_en(1);
  qlix_comm_set_log_fd(fileno(log));
  qlix_comm_set_dump_log_fd(fileno(dump));
  QLIX_COMM_PRINT("%d to the log;", 1);
  qlix_comm_set_print_callback(log_take);
  qlix_comm_set_dump_log_en(1);
  QLIX_COMM_PRINT("%d to the dump log;", 2);
  EXPECT_EQ(read_back(log), "1 to the log;");
  EXPECT_EQ(read_back(dump), "2 to the dump log;");
  EXPECT_EQ(logged, "");
  fclose(log);
  fclose(dump);
}

TEST_F(PrintTest, LongTextIsCutAtTheBuffer) {
  const std::string text(3000, 'x');
  EXPECT_EQ(printed([&] { QLIX_COMM_PRINT("%s", text.c_str()); }), std::string(1023, 'x'));
}

std::uint32_t check_index(std::uint32_t value, std::uint32_t min, std::uint32_t max) {
  QLIX_COMM_CHECK_DEV_INDEX(0, value, min, max);
  return 0;
}
std::uint32_t check_ends(std::uint32_t value, std::uint32_t min, std::uint32_t max) {
  QLIX_COMM_CHECK_INDEX_UPPER(value, max);
  QLIX_COMM_CHECK_INDEX_LOWER(value, min);
  return 0;
}
std::uint32_t check_pair(std::uint32_t a, std::uint32_t b) {
  QLIX_COMM_CHECK_ADD(a, b);
  QLIX_COMM_CHECK_MUL(a, b);
  QLIX_COMM_CHECK_SUB(a, b);
  return 0;
}
std::uint32_t check_rc(std::uint32_t code) {
  QLIX_COMM_CHECK_DEV_RC(0, code, "some_callee");
  return 0;
}

TEST_F(PrintTest, ChecksNameThePlaceAndReturnTheirCode) {
  const struct {
    std::uint32_t (*check)();
    std::uint32_t code;
    const char* line;
  } cases[] = {
      {[] { return check_index(3, 0, 3); }, 0, ""},
      {[] { return check_index(2, 2, 2); }, 0, ""},
      {[] { return check_index(4, 0, 3); }, 0x1205, "[0x4] INVALID] [min=0x0,max=0x3] ! FUNCTION :check_index"},
      {[] { return check_index(1, 2, 3); }, 0x1205, "[0x1] INVALID] [min=0x2,max=0x3] ! FUNCTION :check_index"},
      {[] { return check_index(5, 5, 4); }, 0x1206, "[0x5] INVALID] [min=0x5,max=0x4] ! FUNCTION :check_index"},
      {[] { return check_ends(7, 7, 7); }, 0, ""},
      {[] { return check_ends(8, 7, 7); }, 0x1205, "[0x8] INVALID] [max=0x7] ! FUNCTION :check_ends"},
      {[] { return check_ends(6, 7, 7); }, 0x1205, "[0x6] INVALID] [min=0x7] ! FUNCTION :check_ends"},
      {[] { return check_pair(0xFFFFFFFE, 1); }, 0, ""},
      {[] { return check_pair(0xFFFFFFFF, 1); }, 0x1205,
       "[val0=0xffffffff] INVALID] [val1=0x1] ! FUNCTION :check_pair"},
      {[] { return check_pair(0x10000, 0x10000); }, 0x1205,
       "[val0=0x10000] INVALID] [val1=0x10000] ! FUNCTION :check_pair"},
      {[] { return check_pair(1, 2); }, 0x1205, "[val0=0x1] INVALID] [val1=0x2] ! FUNCTION :check_pair"},
      {[] { return check_rc(0); }, 0, ""},
  };
  for (const auto& c : cases) {
    const std::string line = c.code == 0 ? "" : std::string("\n print_test.cpp:#[Error:VALUE") + c.line + " !\n";
    EXPECT_EQ(without_line_numbers(printed([&] { EXPECT_EQ(c.check(), c.code) << c.line; })), line);
  }
  EXPECT_EQ(without_line_numbers(printed([] { EXPECT_EQ(check_rc(0x1804), 0x1804u); })),
            "\n QLIX  print_test.cpp:# [ErrorCode:0x1804] !-- check_rc Call some_callee Fail!\n");
}

TEST_F(PrintTest, MemoryCountsWhatMallocServedAndRefusesMoreThanHalfAGigabyte) {
  const std::uint32_t num = qlix_comm_get_malloc_num();
  const std::uint32_t size = qlix_comm_get_malloc_size();
  void* const memory = ic_comm_malloc_memory(100);
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(qlix_comm_get_malloc_num(), num + 1);
  EXPECT_EQ(qlix_comm_get_malloc_size(), size + 100);
  ic_comm_free_memory(memory);
  EXPECT_EQ(qlix_comm_get_malloc_num(), num);
  EXPECT_EQ(printed([] { EXPECT_EQ(ic_comm_malloc_memory(0x20000001), nullptr); }),
            "malloc size err, size more than 512M \n");
}

TEST_F(PrintTest, MemoryHooksServeEverythingUncounted) {
  const std::uint32_t num = qlix_comm_get_malloc_num();
  {
    const MemoryFault hooks;
    void* const memory = ic_comm_malloc_memory(100);
    EXPECT_EQ(hooks.out(), 1u);
    EXPECT_EQ(qlix_comm_get_malloc_num(), num);
    ic_comm_free_memory(memory);
  }
  qlix_comm_os_callback callback{[](std::size_t) -> void* { return nullptr; }, nullptr};
  EXPECT_EQ(qlix_comm_get_os_callback(&callback), 0u);
  EXPECT_EQ(callback.allocate, nullptr);
  qlix_comm_set_print_level(QLIX_TRACE_PRINT);
  EXPECT_EQ(ic_comm_set_os_callback(nullptr), 0x1201u);
  EXPECT_EQ(qlix_comm_get_os_callback(nullptr), 0x1201u);
}

TEST_F(PrintTest, MemorySizeCounterWrapsToZeroWithANote) {
  // A large block that is never touched costs no memory; eight of them pass 32 bits.
  const std::string text = printed([] {
    for (int i = 0; i < 9; ++i) {
      ic_comm_free_memory(ic_comm_malloc_memory(0x20000000));
    }
  });
  EXPECT_NE(text.find("Note:g_qlix_malloc_size[0x"), std::string::npos) << text;
  EXPECT_NE(text.find("] and size[0x20000000] sum is over maxvalue now, reset 0\n"), std::string::npos) << text;
}

TEST_F(PrintTest, MutexKnowsItsOwner) {
  qlix_comm_mutex mutex;
  const struct {
    const char* what;
    std::uint32_t (*misuse)(qlix_comm_mutex*);
    std::uint32_t code;
    bool held;
    bool other_thread;
  } cases[] = {
      {"unlock a free one", qlix_comm_mutex_unlock, EPERM, false, false},
      {"unlock another thread's", qlix_comm_mutex_unlock, EPERM, true, true},
      {"lock one's own", qlix_comm_mutex_lock, EDEADLK, true, false},
      {"destroy one's own", qlix_comm_mutex_destroy, EBUSY, true, false},
      {"destroy another thread's", qlix_comm_mutex_destroy, EBUSY, true, true},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(qlix_comm_mutex_create(&mutex), 0u);
    if (c.held) {
      EXPECT_EQ(qlix_comm_mutex_lock(&mutex), 0u);
    }
    std::uint32_t code = 0;
    const auto run = [&] { code = c.misuse(&mutex); };
    c.other_thread ? std::thread(run).join() : run();
    EXPECT_EQ(code, c.code) << c.what;
    if (c.held) {
      EXPECT_EQ(qlix_comm_mutex_unlock(&mutex), 0u) << "still held after: " << c.what;
    }
    EXPECT_EQ(qlix_comm_mutex_destroy(&mutex), 0u) << c.what;
  }
}

TEST_F(PrintTest, LocksRefuseNull) {
  constexpr std::uint32_t (*OF_MUTEX[])(qlix_comm_mutex*) = {qlix_comm_mutex_create, qlix_comm_mutex_destroy,
                                                             qlix_comm_mutex_lock, qlix_comm_mutex_unlock};
  constexpr std::uint32_t (*OF_SPIN_LOCK[])(qlix_comm_spin_lock*) = {
      qlix_comm_spin_lock_create, qlix_comm_spin_lock_destroy, qlix_comm_spin_lock_lock, qlix_comm_spin_lock_unlock};
  const std::string steps[] = {"create", "destroy", "lock", "unlock"};
  for (int i = 0; i < 4; ++i) {
    const std::string line = "\n QLIX mutex.cpp:#[Error:POINT NULL] ! FUNCTION : qlix_comm_";
    EXPECT_EQ(without_line_numbers(printed([&] { EXPECT_EQ(OF_MUTEX[i](nullptr), 0x1201u); })),
              line + "mutex_" + steps[i] + "!\n");
    EXPECT_EQ(without_line_numbers(printed([&] { EXPECT_EQ(OF_SPIN_LOCK[i](nullptr), 0x1201u); })),
              line + "spin_lock_" + steps[i] + "!\n");
  }
}

}  // namespace
