#include "host/call_rules.h"

#include <linux/audit.h>
#include <linux/netlink.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace vcard {

namespace {

#if defined(__x86_64__)
constexpr uint32_t native_architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr uint32_t native_architecture = AUDIT_ARCH_AARCH64;
#else
#error "the system-call filter of the virtual card knows x86-64 and 64-bit ARM"
#endif

/// The last call (mseal) of which it is known whether it takes a path. Numbers above, those of the x32 calls too, are
/// refused by a closed table.
constexpr uint32_t last_known_call = 462;

constexpr uint32_t every_bit = UINT32_MAX;
constexpr uint32_t no_file = 1u << 31;  // of a negative descriptor

constexpr uint32_t data_offset(size_t argument) {
  return static_cast<uint32_t>(offsetof(struct seccomp_data, args) + argument * sizeof(uint64_t));
}

constexpr uint32_t refusal(int error) {
  return SECCOMP_RET_ERRNO | static_cast<uint32_t>(error);
}

void rule_add(std::vector<sock_filter>& code, const CallRule& rule, uint32_t caught) {
  std::vector<sock_filter> part;
  for (const CallCondition& condition : rule.conditions) {
    if (condition.mask != 0) {
      part.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, data_offset(condition.argument)));
      part.push_back(BPF_STMT(BPF_ALU | BPF_AND | BPF_K, condition.mask));
      part.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, condition.value, 0, 0));
    }
  }
  const bool has_conditions = !part.empty();
  part.push_back(BPF_STMT(BPF_RET | BPF_K, rule.error != 0 ? refusal(rule.error) : caught));
  // Whatever does not hold goes on behind the rule, to which the conditions have lost the number.
  for (size_t i = 0; i < part.size(); ++i) {
    if (BPF_CLASS(part[i].code) == BPF_JMP) {
      part[i].jf = static_cast<uint8_t>(part.size() - i - 1);
    }
  }
  code.push_back(
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(rule.number), 0, static_cast<uint8_t>(part.size())));
  code.insert(code.end(), part.begin(), part.end());
  if (has_conditions) {
    code.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)));
  }
}

}  // namespace

const CallRule* CallRules::find(long number, std::span<const uint64_t> arguments) const {
  const auto holds = [&](const CallCondition& condition) {
    return (static_cast<uint32_t>(arguments[condition.argument]) & condition.mask) == condition.value;
  };
  const auto rule = std::find_if(rules.begin(), rules.end(), [&](const CallRule& row) {
    return row.number == number && std::all_of(row.conditions.begin(), row.conditions.end(), holds);
  });
  return rule != rules.end() ? &*rule : nullptr;
}

int CallRules::unknown_error(long number) const {
  return closed && static_cast<uint32_t>(number) > last_known_call ? ENOSYS : 0;
}

std::vector<sock_filter> CallRules::filter(uint32_t caught) const {
  std::vector<sock_filter> code = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, native_architecture, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, closed ? refusal(ENOSYS) : SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
  };
  if (closed) {
    code.push_back(BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, last_known_call, 0, 1));
    code.push_back(BPF_STMT(BPF_RET | BPF_K, refusal(ENOSYS)));
  }
  for (const CallRule& rule : rules) {
    rule_add(code, rule, caught);
  }
  code.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  return code;
}

CallRules wire_rules() {
  return {{
      {__NR_ioctl, 0, {{{1, every_bit, driver_ioctl_request}}}},
      {__NR_ioctl, 0, {{{1, every_bit, ethtool_ioctl_request}}}},
      {__NR_socket, 0, {{{0, every_bit, AF_NETLINK}, {2, every_bit, NETLINK_GENERIC}}}},
      {__NR_bind, 0, {{{2, every_bit, sizeof(struct sockaddr_nl)}}}},
      {__NR_connect},
      {__NR_mmap, 0, {{{3, MAP_SHARED, MAP_SHARED}, {4, no_file, 0}}}},
      {__NR_write, 0, {{{2, every_bit, 1}}}},
      {__NR_write, 0, {{{2, every_bit, control_text_max}}}},
  }};
}

}  // namespace vcard
