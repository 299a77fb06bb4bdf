// Where a live view is shown.
#pragma once

#include <memory>
#include <string>

#include "watch_state.h"

struct watch_look {
  std::string name;  ///< of the card
  std::string time;
  uint32_t number;  ///< of the look, from 1
  uint32_t interval_s;
  bool paused;
};

enum class watch_key : uint8_t { none, quit, pause, restart, redraw };

class watch_screen {
 public:
  virtual ~watch_screen() = default;
  virtual void show(const watch_look& look, const watch_state& state) = 0;
  /// Waits for a key, at most so long or until a signal comes.
  virtual watch_key wait(int milliseconds) = 0;
  /// False when what is shown reaches nobody any more.
  virtual bool good() const {
    return true;
  }
};

/// The terminal of standard output and input; null when they are none, or one of an unknown kind.
std::unique_ptr<watch_screen> watch_terminal();
/// Plain lines on standard output: each says time and card, so that they can be searched.
std::unique_ptr<watch_screen> watch_lines();
