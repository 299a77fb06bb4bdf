// Printing of the network-processor driver: normal output, and traces filtered by a process-wide level.
//
// Every text is formatted into a buffer of 1024 bytes (longer texts are cut), written to standard output in one piece
// and flushed at once while the print switch is on. All settings are process-wide and may be changed from any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/// Print levels. A level emits the traces of its own kind and of those below it; 0 and every level above 4 emit none.
inline constexpr std::uint32_t QLIX_TRACE_PRINT = 0;
inline constexpr std::uint32_t QLIX_TRACE_ERROR_PRINT = 1;  ///< default
inline constexpr std::uint32_t QLIX_TRACE_INFO_PRINT = 2;
inline constexpr std::uint32_t QLIX_TRACE_DEBUG_PRINT = 3;
inline constexpr std::uint32_t QLIX_TRACE_ALL_PRINT = 4;

/// Bit of the log-type control word that sends normal output to the log as well.
inline constexpr std::uint32_t QLIX_LOG_TYPE_PRINT = 0x100;

/// Receives a logged text; `text` is zero-terminated and `length` bytes long, and is valid only during the call.
using qlix_comm_print_callback = void (*)(const char* text, std::size_t length);

/// Print level; any value is stored.
void qlix_comm_set_print_level(std::uint32_t level);
std::uint32_t qlix_comm_get_print_level();

/// Print switch: 0 keeps everything off standard output. Default 1.
void qlix_comm_set_print_en(std::uint32_t enable);
std::uint32_t qlix_comm_get_print_en();

/// Log switch. When it is on, every emitted trace is logged, and normal output too if the control word has
/// QLIX_LOG_TYPE_PRINT. Default 0.
void qlix_comm_set_log_en(std::uint32_t enable);
std::uint32_t qlix_comm_get_log_en();

/// Log-type control word. Default QLIX_LOG_TYPE_PRINT.
void qlix_comm_set_log_type(std::uint32_t control_word);
std::uint32_t qlix_comm_get_log_type();

/// Dump-log switch: while it is on, logged texts go to the dump log in place of the log output. Default 0.
void qlix_comm_set_dump_log_en(std::uint32_t enable);
std::uint32_t qlix_comm_get_dump_log_en();

/// Registers the receiver of logged texts, null for none. Without one the log writer takes them.
void qlix_comm_set_print_callback(qlix_comm_print_callback callback);

/// Registers what is called before every text that goes to standard output or to the log descriptors, null for nothing:
/// a program that redraws a line on the terminal takes it away there.
void qlix_comm_set_before_print(void (*before)());

/// Descriptors that the log writer and the dump log write to; the caller opens them and keeps them open. Default 2,
/// standard error, for both.
void qlix_comm_set_log_fd(int fd);
void qlix_comm_set_dump_log_fd(int fd);

/// Prints `format` as it stands, whatever the level.
[[gnu::format(printf, 1, 2)]] void qlix_comm_print(const char* format, ...);

/// Emits a trace without looking at the level: the macros below have done that.
[[gnu::format(printf, 1, 2)]] void qlix_comm_trace(const char* format, ...);

namespace qlix_comm_detail {

extern std::atomic<std::uint32_t> print_level;

/// True when a trace of `kind` (1 error, 2 info, 3 debug) is emitted at the present level.
inline bool trace_emits(std::uint32_t kind) {
  const std::uint32_t level = print_level.load(std::memory_order_relaxed);
  return level >= kind && level <= QLIX_TRACE_ALL_PRINT;
}

}  // namespace qlix_comm_detail

#define QLIX_COMM_PRINT(...) qlix_comm_print(__VA_ARGS__)

#define QLIX_COMM_TRACE_AT(kind, ...)          \
  do {                                         \
    if (qlix_comm_detail::trace_emits(kind)) { \
      qlix_comm_trace(__VA_ARGS__);            \
    }                                          \
  } while (0)

#define QLIX_COMM_TRACE_ERROR(...) QLIX_COMM_TRACE_AT(QLIX_TRACE_ERROR_PRINT, __VA_ARGS__)
#define QLIX_COMM_TRACE_INFO(...) QLIX_COMM_TRACE_AT(QLIX_TRACE_INFO_PRINT, __VA_ARGS__)
#define QLIX_COMM_TRACE_DEBUG(...) QLIX_COMM_TRACE_AT(QLIX_TRACE_DEBUG_PRINT, __VA_ARGS__)

/// Error trace about device `dev`; the number takes no part in the text.
#define QLIX_COMM_TRACE_DEV_ERROR(dev, ...) \
  do {                                      \
    static_cast<void>(dev);                 \
    QLIX_COMM_TRACE_ERROR(__VA_ARGS__);     \
  } while (0)
