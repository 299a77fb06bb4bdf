// What long work of the driver needs of the program around it, which alone knows what a signal means there and what is
// on the screen.
#pragma once

struct dpp_work_hooks {
  void (*begin)();                   ///< from now on a signal that would end the program only raises a flag
  bool (*interrupted)();             ///< whether one came since
  void (*end)();                     ///< signals have their former effect again
  void (*status)(const char* text);  ///< shows one line in place of the one before; null takes it away
};

/// Set once by the program entry, before the first command; all four functions. Without hooks nothing interrupts the
/// driver's work and nothing is shown of it.
void dpp_work_hooks_set(const dpp_work_hooks* hooks);

/// Work that says how far it got when it is interrupted. At most one lives at a time.
class dpp_work {
 public:
  dpp_work();
  dpp_work(const dpp_work&) = delete;
  dpp_work& operator=(const dpp_work&) = delete;
  ~dpp_work();

  static bool interrupted();
  /// Shows `text`, without control characters, as the status line; null takes it away.
  static void status(const char* text);
};
