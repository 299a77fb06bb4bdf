#include "vcard/card.h"

#include <sys/prctl.h>

#include <algorithm>

namespace vcard {

namespace {

constexpr uint64_t default_bar_size = 0x4000000;
constexpr uint64_t largest_bar_size = 0x100000000;
constexpr std::chrono::microseconds slowest_poll(2000);
constexpr unsigned long timer_slack_ns = 1000;
/// Looks without work before a poll slows down: a tool in the middle of an exchange comes back within this.
constexpr int patient_looks = 200;

}  // namespace

Card::Card(CardFile& file, RequestLog& log)
    : file_(file),
      log_(log),
      memory_(log),
      processor_(log),
      bar_size_(file.section("bar0").number("size", default_bar_size, largest_bar_size)),
      dead_(file.section("faults").flag("dead", false)),
      bar_claimed_(file.section("faults").section("bar0").flag("claimed", false)),
      bar_taken_ms_(file.section("faults").section("bar0").signed_number("taken_ms", -1, -1, 3600000)),
      functions_(pci_functions_load(file, bar_size_)) {
  processor_.load_faults(file.section("faults").section("processor"));
}

Card::~Card() {
  stop();
}

bool Card::create(const CardFolders& folders) {
  folders_ = folders;
  auto tree_path = [&](const std::string& name) {
    return folders.tree.empty() ? std::string() : folders.tree + "/" + name;
  };
  if (bar_size_ != 0 && !bar0_.create(tree_path("bar0"), bar_size_)) {
    return false;
  }
  for (PciFunction& function : functions_) {
    if (!pci_function_config_create(function, tree_path("config." + function.sbdf))) {
      return false;
    }
  }
  for (const auto& hook : create_hooks_) {
    hook();
  }
  if (dead_) {
    fill_with_ones();
  }
  return true;
}

void Card::fill_with_ones() {
  std::fill(bar0_.bytes().begin(), bar0_.bytes().end(), uint8_t{0xff});
  for (PciFunction& function : functions_) {
    if (function.is_card()) {
      std::fill(function.config.bytes().begin(), function.config.bytes().end(), uint8_t{0xff});
    }
  }
}

void Card::bar_claim() {
  if (!bar_claimed_ && bar0_.renew()) {
    bar_claimed_ = true;
    bar_files_renew();
    log_.line("bar_claimed");
  }
}

bool Card::kernel_reset(PciFunction& function) {
  constexpr size_t device_status = express_capability + 0x0a;
  std::span<uint8_t> config = function.config.bytes();
  const Bytes saved(config.begin(), config.end());
  function_reset(function);
  if (!function.state.reset_returns) {
    return false;
  }
  for (size_t i = 0; i < saved.size(); ++i) {
    if (i != device_status && i != device_status + 1) {
      config[i] = saved[i];
    }
  }
  return true;
}

bool Card::bar_map() {
  if (!bar_claimed_ && bar_taken_ms_ >= 0) {
    schedule(std::chrono::milliseconds(bar_taken_ms_), [this] { bar_claim(); });
    bar_taken_ms_ = -1;
  }
  return !bar_claimed_;
}

void Card::on_create(std::function<void()> hook) {
  create_hooks_.push_back(std::move(hook));
}

void Card::poll_every(std::chrono::microseconds period, std::function<bool()> poll) {
  polls_.push_back(Poll{period, period, 0, Clock::now(), std::move(poll)});
}

void Card::schedule(std::chrono::milliseconds delay, std::function<void()> action) {
  actions_.push_back(Action{Clock::now() + delay, std::move(action)});
  wake_.notify_one();
}

void Card::start() {
  thread_ = std::thread([this] { thread_main(); });
}

void Card::stop() {
  {
    std::lock_guard guard(lock_);
    stopping_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) {
    thread_.join();
  }
}

void Card::thread_main() {
  // Polls ask for tens of microseconds; the kernel's default slack would double them.
  prctl(PR_SET_TIMERSLACK, timer_slack_ns);
  std::unique_lock guard(lock_);
  while (!stopping_) {
    wake_.wait_until(guard, run_due(Clock::now()));
  }
}

Card::Clock::time_point Card::run_due(Clock::time_point now) {
  // An action may schedule another one: take the due ones out before running any.
  auto later = std::stable_partition(actions_.begin(), actions_.end(), [&](const Action& a) { return a.when <= now; });
  std::vector<Action> due(std::make_move_iterator(actions_.begin()), std::make_move_iterator(later));
  actions_.erase(actions_.begin(), later);
  std::stable_sort(due.begin(), due.end(), [](const Action& a, const Action& b) { return a.when < b.when; });
  for (const Action& action : due) {
    action.run();
  }

  Clock::time_point next = now + slowest_poll;
  for (Poll& poll : polls_) {
    if (dead_) {
      break;
    }
    if (poll.next <= now) {
      if (poll.run()) {
        poll.idle = 0;
        poll.current = poll.period;
      } else if (++poll.idle > patient_looks) {
        poll.current = std::min(poll.current * 2, slowest_poll);
      }
      poll.next = now + poll.current;
    }
    next = std::min(next, poll.next);
  }
  for (const Action& action : actions_) {
    next = std::min(next, action.when);
  }
  return next;
}

}  // namespace vcard
