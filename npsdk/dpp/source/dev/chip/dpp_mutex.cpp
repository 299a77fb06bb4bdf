#include "dpp_chip/dpp_mutex.h"

#include "qlix_comm/print.h"

void dpp_mutex_guard::report(const char* action) const {
  QLIX_COMM_TRACE_ERROR("File: [%s],Function:[%s],Line:%u mutex %s failed!-->Return ERROR\n", file_, function_, line_,
                        action);
}
