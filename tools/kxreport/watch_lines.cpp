#include <poll.h>

#include <cinttypes>

#include "watch_screen.h"

namespace {

class line_screen final : public watch_screen {
 public:
  void show(const watch_look& look, const watch_state& state) override {
    if (look.number == shown_) {
      return;
    }
    shown_ = look.number;
    const std::string head = look.time + " " + look.name + "  ";
    printf("%s%s\n", head.c_str(), state.summary().c_str());
    for (const std::string& fault : state.faults()) {
      printf("%s%s\n", head.c_str(), fault.c_str());
    }
    for (const watch_row& row : state.rows()) {
      printf("%s%s %s: %.0f/s, %" PRIu64 " since the start, %" PRIu64 "\n", head.c_str(), row.unit.c_str(),
             row.name.c_str(), row.per_second, row.since_start, row.now);
    }
    fflush(stdout);
  }
  watch_key wait(int milliseconds) override {
    poll(nullptr, 0, milliseconds);
    return watch_key::none;
  }
  bool good() const override {
    return ferror(stdout) == 0;
  }

 private:
  uint32_t shown_ = 0;
};

}  // namespace

std::unique_ptr<watch_screen> watch_lines() {
  return std::make_unique<line_screen>();
}
