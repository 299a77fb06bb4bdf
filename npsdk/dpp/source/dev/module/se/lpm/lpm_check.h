// Checks of what only a programming error can break: one line, then the end of the process.
#pragma once

#include <cstdlib>

#include "qlix_comm/check.h"

#define LPM_ASSERT_POINT(pointer)                    \
  do {                                               \
    if ((pointer) == nullptr) {                      \
      qlix_comm_detail::report_null(QLIX_COMM_HERE); \
      std::abort();                                  \
    }                                                \
  } while (0)

#define LPM_ASSERT_RC(code, callee)                                  \
  do {                                                               \
    const uint32_t lpm_rc = (code);                                  \
    if (lpm_rc != QLIX_COMM_OK) {                                    \
      qlix_comm_detail::report_call(QLIX_COMM_HERE, lpm_rc, callee); \
      std::abort();                                                  \
    }                                                                \
  } while (0)
