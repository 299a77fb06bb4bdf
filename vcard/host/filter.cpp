#include <linux/seccomp.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "host/trap.h"

namespace vcard {

int filter_install(const CallRules& rules, uint32_t caught, unsigned flags) {
  std::vector<sock_filter> code = rules.filter(caught);
  const struct sock_fprog program = {static_cast<unsigned short>(code.size()), code.data()};
  return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program));
}

}  // namespace vcard
