// What signals do while the tool works: held back over steps that belong together, kept for the next safe point, or
// taking effect after something was given back.
#pragma once

#include <csignal>
#include <cstddef>
#include <optional>
#include <span>

/// By these the user, a closed terminal or a shutdown ends a program.
inline constexpr int KX_END_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/// Holds one signal, or all but those of a fault, back from the calling thread for as long as it lives.
class kx_signal_hold {
 public:
  kx_signal_hold();
  explicit kx_signal_hold(int signal);
  kx_signal_hold(const kx_signal_hold&) = delete;
  kx_signal_hold& operator=(const kx_signal_hold&) = delete;
  ~kx_signal_hold();

 private:
  sigset_t former_;
};

/// Gives the ending signals and SIGPIPE a handler for as long as it lives; what is ignored stays ignored, but for
/// `always`.
class kx_signal_treatment {
 public:
  /// `flags` are those of sigaction; `signals` outlives the object and has at most five.
  kx_signal_treatment(std::span<const int> signals, void (*handler)(int), int flags, int always = 0);
  kx_signal_treatment(const kx_signal_treatment&) = delete;
  kx_signal_treatment& operator=(const kx_signal_treatment&) = delete;
  ~kx_signal_treatment();

 private:
  static constexpr size_t SIGNALS_MAX = 5;
  std::span<const int> signals_;
  struct sigaction former_[SIGNALS_MAX];
};

/// While one lives, the ending signals only raise a flag, the access in flight ends, and the command gives back what it
/// took; a reader of the output that goes away ends nothing. What is ignored, as by nohup, stays ignored, but for
/// SIGINT: a background job of a script must be interruptible. At the end of the outermost one the former treatment is
/// back; SIGINT has been answered then, the others take effect. For the command's thread.
class kx_signal_guard {
 public:
  kx_signal_guard();
  kx_signal_guard(const kx_signal_guard&) = delete;
  kx_signal_guard& operator=(const kx_signal_guard&) = delete;
  ~kx_signal_guard();

  /// The last signal that came since the outermost guard began, or 0.
  static int raised();

 private:
  std::optional<kx_signal_treatment> ending_;
  std::optional<kx_signal_treatment> pipe_;
};
