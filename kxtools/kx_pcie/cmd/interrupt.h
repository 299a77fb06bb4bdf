// Interrupts while a command runs: they raise a flag, the access in flight ends, and the command gives back what it
// took before it ends.
#pragma once

/// While one exists, SIGINT, SIGTERM, SIGHUP and SIGQUIT only raise the flag, and a reader that closes its pipe does
/// not end the process. At the end of its life the former handling is back; SIGTERM, SIGHUP and SIGQUIT then take
/// effect. At most one at a time.
class kxpcie_interrupt_guard {
 public:
  kxpcie_interrupt_guard();
  kxpcie_interrupt_guard(const kxpcie_interrupt_guard&) = delete;
  kxpcie_interrupt_guard& operator=(const kxpcie_interrupt_guard&) = delete;
  ~kxpcie_interrupt_guard();

  /// True once a signal has come.
  static bool raised();
};
