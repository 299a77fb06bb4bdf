#include "qlix_comm/check.h"

namespace qlix_comm_detail {

std::uint32_t report_null(const source_place& at) {
  QLIX_COMM_TRACE_ERROR("\n QLIX %s:%d[Error:POINT NULL] ! FUNCTION : %s!\n", at.file, at.line, at.function);
  return QLIX_COMM_POINT_NULL;
}

std::uint32_t report_range(const source_place& at, std::uint32_t code, std::uint32_t value, std::uint32_t min,
                           std::uint32_t max) {
  QLIX_COMM_TRACE_ERROR("\n %s:%d[Error:VALUE[0x%x] INVALID] [min=0x%x,max=0x%x] ! FUNCTION :%s !\n", at.file, at.line,
                        value, min, max, at.function);
  return code;
}

std::uint32_t report_upper(const source_place& at, std::uint32_t value, std::uint32_t max) {
  QLIX_COMM_TRACE_ERROR("\n %s:%d[Error:VALUE[0x%x] INVALID] [max=0x%x] ! FUNCTION :%s !\n", at.file, at.line, value,
                        max, at.function);
  return QLIX_COMM_OUT_OF_RANGE;
}

std::uint32_t report_lower(const source_place& at, std::uint32_t value, std::uint32_t min) {
  QLIX_COMM_TRACE_ERROR("\n %s:%d[Error:VALUE[0x%x] INVALID] [min=0x%x] ! FUNCTION :%s !\n", at.file, at.line, value,
                        min, at.function);
  return QLIX_COMM_OUT_OF_RANGE;
}

std::uint32_t report_pair(const source_place& at, std::uint32_t value0, std::uint32_t value1) {
  QLIX_COMM_TRACE_ERROR("\n %s:%d[Error:VALUE[val0=0x%x] INVALID] [val1=0x%x] ! FUNCTION :%s !\n", at.file, at.line,
                        value0, value1, at.function);
  return QLIX_COMM_OUT_OF_RANGE;
}

std::uint32_t report_call(const source_place& at, std::uint32_t code, const char* callee) {
  QLIX_COMM_TRACE_ERROR("\n QLIX  %s:%d [ErrorCode:0x%x] !-- %s Call %s Fail!\n", at.file, at.line, code, at.function,
                        callee);
  return code;
}

}  // namespace qlix_comm_detail
