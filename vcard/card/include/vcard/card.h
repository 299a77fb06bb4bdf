// The card behind all wires. One object owns everything that the card is; models attach to it, wires call into it.
//
// One lock guards the card. Request handlers, memory blocks, poll callbacks and scheduled actions all run under it, so
// a model needs no lock of its own and must not wait inside.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "vcard/card_file.h"
#include "vcard/card_memory.h"
#include "vcard/management_processor.h"
#include "vcard/pci_function.h"
#include "vcard/request_log.h"
#include "vcard/storage.h"

namespace vcard {

/// Where the card keeps what must be files. Empty means memory that no one else sees.
struct CardFolders {
  std::string tree;   // BAR 0 and configuration spaces, opened by the tool through the generated sysfs tree
  std::string state;  // what survives the run and can be inspected: the flash
};

class Card {
 public:
  /// The bare card of `file`, without models: models_attach adds them. Complaints are left in `file`. Both references
  /// must outlive the card.
  Card(CardFile& file, RequestLog& log);
  ~Card();
  Card(const Card&) = delete;
  Card& operator=(const Card&) = delete;

  /// Creates BAR 0 and the configuration spaces in the folders, then lets the models set up in them. Called once,
  /// before start. False with errno.
  bool create(const CardFolders& folders);

  /// Starts and stops the card thread, which runs poll callbacks and scheduled actions.
  void start();
  void stop();

  CardFile& file() {
    return file_;
  }
  RequestLog& log() {
    return log_;
  }
  CardMemory& memory() {
    return memory_;
  }
  ManagementProcessor& processor() {
    return processor_;
  }
  /// BAR 0, shared by all functions of the card. Valid from the create hooks on.
  Storage& bar0() {
    return bar0_;
  }
  /// A driver claims BAR 0 as its own: mappings of it are taken away from everyone outside, whose next touch is a bus
  /// error, and new ones are refused. The card keeps its own.
  void bar_claim();
  bool bar_claimed() const {
    return bar_claimed_;
  }
  /// For the host side: someone maps BAR 0. False when that is refused.
  bool bar_map();
  std::vector<PciFunction>& functions() {
    return functions_;
  }
  const CardFolders& folders() const {
    return folders_;
  }
  /// True when the card has fallen off the bus: BAR 0 and configuration spaces read all ones, no poll callback runs.
  bool dead() const {
    return dead_;
  }
  std::mutex& lock() {
    return lock_;
  }

  /// For models, while attaching: keeps `model` alive as long as the card.
  template <typename Model>
  Model* own(std::unique_ptr<Model> model) {
    Model* pointer = model.get();
    owned_.emplace_back(pointer, [](void* object) { delete static_cast<Model*>(object); });
    static_cast<void>(model.release());
    return pointer;
  }
  /// For models, while attaching: `hook` runs inside create, when BAR 0 and configuration spaces exist.
  void on_create(std::function<void()> hook);
  /// For models: calls `poll` on the card thread, at most every `period` while it returns true (it found work) and for
  /// a short time after; then less and less often, down to once in two milliseconds, until it finds work again. Only
  /// while attaching.
  void poll_every(std::chrono::microseconds period, std::function<bool()> poll);
  /// For models: runs `action` once on the card thread after `delay`.
  void schedule(std::chrono::milliseconds delay, std::function<void()> action);

  /// Processes of the command under the card, for models that reach into host memory. Set by the host side.
  std::function<std::vector<pid_t>()> processes = [] { return std::vector<pid_t>(); };
  /// Resets a function of the card. Set by the model of its registers.
  std::function<void(const PciFunction&)> function_reset = [](const PciFunction&) {};
  /// The host side's part of a function-level reset: what the kernel does when it is asked for one. False when the
  /// function does not come back.
  bool kernel_reset(PciFunction& function);
  /// Links the files that show BAR 0 to its new file. Set by the host side.
  std::function<void()> bar_files_renew = [] {};

 private:
  using Clock = std::chrono::steady_clock;
  struct Poll {
    std::chrono::microseconds period;
    std::chrono::microseconds current;
    int idle = 0;
    Clock::time_point next;
    std::function<bool()> run;
  };
  struct Action {
    Clock::time_point when;
    std::function<void()> run;
  };
  void fill_with_ones();
  void thread_main();
  Clock::time_point run_due(Clock::time_point now);

  CardFile& file_;
  RequestLog& log_;
  CardMemory memory_;
  ManagementProcessor processor_;
  uint64_t bar_size_;
  bool dead_;
  bool bar_claimed_;
  int64_t bar_taken_ms_;  // time from the first mapping to the claim; -1: never
  std::vector<PciFunction> functions_;
  Storage bar0_;
  CardFolders folders_;
  std::vector<std::unique_ptr<void, void (*)(void*)>> owned_;
  std::vector<std::function<void()>> create_hooks_;
  std::vector<Poll> polls_;
  std::vector<Action> actions_;
  std::mutex lock_;
  std::condition_variable wake_;
  bool stopping_ = false;  // under lock_
  std::thread thread_;
};

}  // namespace vcard
