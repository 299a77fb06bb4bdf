#include "dpp_chip/dpp_mutex.h"

#include "qlix_comm/print.h"

void dpp_mutex_failure_report(const char* file, const char* function, uint32_t line, const char* action) {
  QLIX_COMM_TRACE_ERROR("File: [%s],Function:[%s],Line:%u mutex %s failed!-->Return ERROR\n", file, function, line,
                        action);
}
