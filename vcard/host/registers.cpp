#include "registers.h"

#include <elf.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <algorithm>

namespace vcard {

namespace {

constexpr int no_call = -1;

bool set_move(enum __ptrace_request request, pid_t thread, unsigned long kind, void* data, size_t size) {
  struct iovec range = {data, size};
  return ptrace(request, thread, kind, &range) == 0;
}

}  // namespace

#if defined(__x86_64__)

namespace {

constexpr uint64_t call_instruction_size = 2;
constexpr uint64_t code_segment_64 = 0x33;

}  // namespace

bool Registers::fetch(pid_t thread) {
  return set_move(PTRACE_GETREGSET, thread, NT_PRSTATUS, &all_, sizeof all_);
}

bool Registers::store(pid_t thread) {
  return set_move(PTRACE_SETREGSET, thread, NT_PRSTATUS, &all_, sizeof all_);
}

long Registers::number() const {
  return static_cast<long>(all_.orig_rax);
}

uint64_t Registers::argument(size_t index) const {
  const unsigned long long values[] = {all_.rdi, all_.rsi, all_.rdx, all_.r10, all_.r8, all_.r9};
  return values[index];
}

int64_t Registers::result() const {
  return static_cast<int64_t>(all_.rax);
}

bool Registers::is_native() const {
  return all_.cs == code_segment_64;
}

void Registers::change_call(long number) {
  all_.orig_rax = static_cast<unsigned long long>(number);
}

void Registers::skip_call(int64_t result) {
  change_call(no_call);
  set_result(result);
}

void Registers::set_result(int64_t result) {
  all_.rax = static_cast<unsigned long long>(result);
}

void Registers::wait_for_signal() {
  change_call(__NR_pause);
}

void Registers::restore(const Registers& entry, int64_t result) {
  change_call(entry.number());
  set_result(result);
}

void Registers::skip_restart() {}

void Registers::set_arguments(std::initializer_list<uint64_t> arguments) {
  unsigned long long* const places[] = {&all_.rdi, &all_.rsi, &all_.rdx, &all_.r10, &all_.r8, &all_.r9};
  size_t index = 0;
  for (const uint64_t argument : arguments) {
    *places[index++] = argument;
  }
}

void Registers::make_call(long number, std::initializer_list<uint64_t> arguments) {
  set_arguments(arguments);
  all_.rip -= call_instruction_size;
  all_.rax = static_cast<unsigned long long>(number);
  change_call(no_call);  // what was interrupted here is not made again by the kernel
}

#elif defined(__aarch64__)

namespace {

constexpr uint64_t call_instruction_size = 4;
constexpr uint64_t state_of_32_bit_code = 0x10;

}  // namespace

bool Registers::fetch(pid_t thread) {
  return set_move(PTRACE_GETREGSET, thread, NT_PRSTATUS, &all_, sizeof all_) &&
         set_move(PTRACE_GETREGSET, thread, NT_ARM_SYSTEM_CALL, &number_, sizeof number_);
}

bool Registers::store(pid_t thread) {
  return set_move(PTRACE_SETREGSET, thread, NT_PRSTATUS, &all_, sizeof all_) &&
         set_move(PTRACE_SETREGSET, thread, NT_ARM_SYSTEM_CALL, &number_, sizeof number_);
}

long Registers::number() const {
  return number_;
}

uint64_t Registers::argument(size_t index) const {
  return all_.regs[index];
}

int64_t Registers::result() const {
  return static_cast<int64_t>(all_.regs[0]);
}

bool Registers::is_native() const {
  return (all_.pstate & state_of_32_bit_code) == 0;
}

void Registers::change_call(long number) {
  number_ = static_cast<int>(number);
}

void Registers::skip_call(int64_t result) {
  change_call(no_call);
  set_result(result);
}

void Registers::set_result(int64_t result) {
  all_.regs[0] = static_cast<unsigned long long>(result);
}

void Registers::wait_for_signal() {
  change_call(__NR_ppoll);
  std::fill_n(all_.regs, 5, 0);  // of no descriptors, without a limit
}

void Registers::restore(const Registers& entry, int64_t result) {
  std::copy_n(entry.all_.regs, 6, all_.regs);
  change_call(entry.number());
  set_result(result);
}

/// Here the kernel moves the place back before it looks for stops.
void Registers::skip_restart() {
  all_.pc += call_instruction_size;
}

void Registers::set_arguments(std::initializer_list<uint64_t> arguments) {
  std::copy(arguments.begin(), arguments.end(), all_.regs);
}

void Registers::make_call(long number, std::initializer_list<uint64_t> arguments) {
  set_arguments(arguments);
  all_.regs[8] = static_cast<unsigned long long>(number);
  all_.pc -= call_instruction_size;
  change_call(no_call);
}

#endif

void Registers::replace_call(long number, std::initializer_list<uint64_t> arguments) {
  set_arguments(arguments);
  change_call(number);
}

}  // namespace vcard
