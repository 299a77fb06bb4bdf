// Argument, arithmetic and call checks. Each macro traces one error line that names source file, line and function, and
// makes the surrounding function return the code; values are evaluated once.
#pragma once

#include <cstdint>

#include "qlix_comm/print.h"
#include "qlix_comm/types.h"

/// Range check: `min` above `max` is 0x1206; with `min` 0 only value <= max is tested; otherwise min <= value <= max
/// must hold. A violation is 0x1205. Prints nothing.
[[nodiscard]] constexpr std::uint32_t qlix_comm_index_check(std::uint32_t value, std::uint32_t min, std::uint32_t max) {
  if (min > max) {
    return QLIX_COMM_RANGE_INVALID;
  }
  return value < min || value > max ? QLIX_COMM_OUT_OF_RANGE : QLIX_COMM_OK;
}

/// The same for an argument of an operation on device `dev`.
[[nodiscard]] constexpr std::uint32_t qlix_comm_dev_index_check([[maybe_unused]] std::uint32_t dev, std::uint32_t value,
                                                                std::uint32_t min, std::uint32_t max) {
  return qlix_comm_index_check(value, min, max);
}

namespace qlix_comm_detail {

/// Where a check stands in the source.
struct source_place {
  const char* file;
  int line;
  const char* function;
};

// The lines of the checks. They are out of line so that a check costs its comparison only.
[[gnu::cold]] std::uint32_t report_null(const source_place& at);
[[gnu::cold]] std::uint32_t report_range(const source_place& at, std::uint32_t code, std::uint32_t value,
                                         std::uint32_t min, std::uint32_t max);
[[gnu::cold]] std::uint32_t report_upper(const source_place& at, std::uint32_t value, std::uint32_t max);
[[gnu::cold]] std::uint32_t report_lower(const source_place& at, std::uint32_t value, std::uint32_t min);
[[gnu::cold]] std::uint32_t report_pair(const source_place& at, std::uint32_t value0, std::uint32_t value1);
[[gnu::cold]] std::uint32_t report_call(const source_place& at, std::uint32_t code, const char* callee);

inline std::uint32_t called(const source_place& at, std::uint32_t code, const char* callee) {
  return code == QLIX_COMM_OK ? code : report_call(at, code, callee);
}

}  // namespace qlix_comm_detail

#define QLIX_COMM_HERE (qlix_comm_detail::source_place{__FILE_NAME__, __LINE__, __func__})

/// Null pointer: "\n QLIX %s:%d[Error:POINT NULL] ! FUNCTION : %s!\n", 0x1201.
#define QLIX_COMM_CHECK_POINT(pointer)                                  \
  do {                                                                  \
    if ((pointer) == nullptr) {                                         \
      static_cast<void>(qlix_comm_detail::report_null(QLIX_COMM_HERE)); \
      return QLIX_COMM_POINT_NULL;                                      \
    }                                                                   \
  } while (0)

/// qlix_comm_index_check with its line "\n %s:%d[Error:VALUE[0x%x] INVALID] [min=0x%x,max=0x%x] ! FUNCTION :%s !\n".
#define QLIX_COMM_CHECK_INDEX(value, min, max)                                                                      \
  do {                                                                                                              \
    const std::uint32_t qlix_value = (value), qlix_min = (min), qlix_max = (max);                                   \
    const std::uint32_t qlix_code = qlix_comm_index_check(qlix_value, qlix_min, qlix_max);                          \
    if (qlix_code != QLIX_COMM_OK) {                                                                                \
      static_cast<void>(qlix_comm_detail::report_range(QLIX_COMM_HERE, qlix_code, qlix_value, qlix_min, qlix_max)); \
      return qlix_code;                                                                                             \
    }                                                                                                               \
  } while (0)

#define QLIX_COMM_CHECK_DEV_INDEX(dev, value, min, max) \
  do {                                                  \
    static_cast<void>(dev);                             \
    QLIX_COMM_CHECK_INDEX(value, min, max);             \
  } while (0)

/// value <= max, with "\n %s:%d[Error:VALUE[0x%x] INVALID] [max=0x%x] ! FUNCTION :%s !\n", 0x1205.
#define QLIX_COMM_CHECK_INDEX_UPPER(value, max)                                                \
  do {                                                                                         \
    const std::uint32_t qlix_value = (value), qlix_max = (max);                                \
    if (qlix_value > qlix_max) {                                                               \
      static_cast<void>(qlix_comm_detail::report_upper(QLIX_COMM_HERE, qlix_value, qlix_max)); \
      return QLIX_COMM_OUT_OF_RANGE;                                                           \
    }                                                                                          \
  } while (0)

/// value >= min, with "\n %s:%d[Error:VALUE[0x%x] INVALID] [min=0x%x] ! FUNCTION :%s !\n", 0x1205.
#define QLIX_COMM_CHECK_INDEX_LOWER(value, min)                                                \
  do {                                                                                         \
    const std::uint32_t qlix_value = (value), qlix_min = (min);                                \
    if (qlix_value < qlix_min) {                                                               \
      static_cast<void>(qlix_comm_detail::report_lower(QLIX_COMM_HERE, qlix_value, qlix_min)); \
      return QLIX_COMM_OUT_OF_RANGE;                                                           \
    }                                                                                          \
  } while (0)

/// 32-bit sum, product or difference of two values that must not overflow, with
/// "\n %s:%d[Error:VALUE[val0=0x%x] INVALID] [val1=0x%x] ! FUNCTION :%s !\n", 0x1205.
#define QLIX_COMM_CHECK_PAIR(builtin, value0, value1)                                             \
  do {                                                                                            \
    const std::uint32_t qlix_value0 = (value0), qlix_value1 = (value1);                           \
    std::uint32_t qlix_result;                                                                    \
    if (builtin(qlix_value0, qlix_value1, &qlix_result)) {                                        \
      static_cast<void>(qlix_comm_detail::report_pair(QLIX_COMM_HERE, qlix_value0, qlix_value1)); \
      return QLIX_COMM_OUT_OF_RANGE;                                                              \
    }                                                                                             \
  } while (0)
#define QLIX_COMM_CHECK_ADD(value0, value1) QLIX_COMM_CHECK_PAIR(__builtin_add_overflow, value0, value1)
#define QLIX_COMM_CHECK_MUL(value0, value1) QLIX_COMM_CHECK_PAIR(__builtin_mul_overflow, value0, value1)
#define QLIX_COMM_CHECK_SUB(value0, value1) QLIX_COMM_CHECK_PAIR(__builtin_sub_overflow, value0, value1)

/// A callee's code: "\n QLIX  %s:%d [ErrorCode:0x%x] !-- %s Call %s Fail!\n"; returns the code when it is not 0.
/// `callee` is the name printed.
#define QLIX_COMM_CHECK_RC(code, callee)                                                 \
  do {                                                                                   \
    const std::uint32_t qlix_rc = (code);                                                \
    if (qlix_rc != QLIX_COMM_OK) {                                                       \
      static_cast<void>(qlix_comm_detail::report_call(QLIX_COMM_HERE, qlix_rc, callee)); \
      return qlix_rc;                                                                    \
    }                                                                                    \
  } while (0)

#define QLIX_COMM_CHECK_DEV_RC(dev, code, callee) \
  do {                                            \
    static_cast<void>(dev);                       \
    QLIX_COMM_CHECK_RC(code, callee);             \
  } while (0)

/// Calls `function` with the arguments behind it and checks its code under its own name.
#define QLIX_COMM_CALL(function, ...) QLIX_COMM_CHECK_RC(function(__VA_ARGS__), #function)
/// The same for the call that ends a function: its code, which is 0 when all went well.
#define QLIX_COMM_CALLED(function, ...) qlix_comm_detail::called(QLIX_COMM_HERE, function(__VA_ARGS__), #function)

/// Hands up a code that is not 0 in silence: what failed has been traced.
#define QLIX_COMM_PASS(code)              \
  do {                                    \
    const std::uint32_t qlix_rc = (code); \
    if (qlix_rc != QLIX_COMM_OK) {        \
      return qlix_rc;                     \
    }                                     \
  } while (0)
