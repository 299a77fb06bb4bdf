// Commands that print fixed text.
#include "common/report.h"
#include "handlers.h"

void trace_cmd_usage() {
  kx_print("trace cmd usage.\n");
}

int32_t cmd_test_print(uint64_t bar, char**, uint32_t) {
  kx_print("### The Bar Addr: %#llx ###\n", static_cast<unsigned long long>(bar));
  kx_print("### Trace App Cmdline Test ###\n");
  return 0;
}

int32_t dpu_trace_info_help(uint64_t, char**, uint32_t) {
  kx_print("trace app cmd usage:\n");
  kx_print("cnt: show the pkt num\n");
  kx_print("status: show the trpg status\n");
  return 0;
}

int32_t trace_app_version_show(uint64_t, char**, uint32_t) {
  kx_print("=========================================================================\n");
  kx_print("|                        kxtool maintainers                             |\n");
  kx_print("|                            Trace App                                  |\n");
  kx_print("|                         V2.0 (2024-11-28)                             |\n");
  kx_print("=========================================================================\n");
  return 0;
}
