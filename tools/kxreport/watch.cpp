#include "watch.h"

#include <cmath>
#include <ctime>

#include "common/signals.h"
#include "status.h"
#include "watch_screen.h"

namespace {

double now_s() {
  struct timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string clock_text() {
  char text[16];
  const time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  strftime(text, sizeof text, "%H:%M:%S", &local);
  return text;
}

/// Shows until the next look is due. False when the user ends it.
bool keys_serve(watch_screen* screen, watch_look* look, watch_state* state, double due_s) {
  do {
    screen->show(*look, *state);
    const double left_s = look->paused ? 3600 : due_s - now_s();
    switch (screen->wait(std::max(0, static_cast<int>(std::ceil(left_s * 1000))))) {
      case watch_key::quit:
        return false;
      case watch_key::pause:
        look->paused = !look->paused;
        break;
      case watch_key::restart:
        state->restart();
        break;
      default:
        break;
    }
  } while (kx_signal_guard::raised() == 0 && (look->paused || now_s() < due_s));
  return true;
}

}  // namespace

int watch_run(const card_place& place, const watch_options& options, int (*judge)(const value& look)) {
  const kx_signal_guard guard;
  std::unique_ptr<watch_screen> screen = watch_terminal();
  if (screen == nullptr) {
    screen = watch_lines();
  }
  watch_state state;
  watch_look look = {.name = place.device.empty() ? place.address : place.device + " " + place.address,
                     .time = "",
                     .number = 0,
                     .interval_s = options.interval_s,
                     .paused = false};
  int status = STATUS_GOOD;
  for (bool goes_on = true; goes_on && screen->good();) {
    const double begun_s = now_s();
    value list = {term::cards, 0, {}, {}};
    cards_ask({place}, options.ask, term::card, &list);
    if (kx_signal_guard::raised() != 0) {
      break;
    }
    status |= judge(list);
    look.time = clock_text();
    ++look.number;
    state.take(list.children[0], now_s());
    if (look.number == options.looks) {
      screen->show(look, state);
      break;
    }
    goes_on = keys_serve(screen.get(), &look, &state, begun_s + options.interval_s);
  }
  return kx_signal_guard::raised() == 0 ? status : STATUS_SIGNAL + kx_signal_guard::raised();
}
