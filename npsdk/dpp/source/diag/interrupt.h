// Interrupts while a command does many steps: they raise a flag, the step in flight ends, and the command says how far
// it got.
#pragma once

/// While one exists, SIGINT, SIGTERM, SIGHUP and SIGQUIT only raise the flag. At the end of its life the former
/// handling is back; what came other than SIGINT then takes effect. At most one at a time.
class dpp_interrupt_guard {
 public:
  dpp_interrupt_guard();
  dpp_interrupt_guard(const dpp_interrupt_guard&) = delete;
  dpp_interrupt_guard& operator=(const dpp_interrupt_guard&) = delete;
  ~dpp_interrupt_guard();

  /// True once a signal has come.
  static bool raised();
};
