#include "run.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "host/process.h"
#include "host/status.h"
#include "host/sysfs_tree.h"
#include "host/system_log.h"
#include "host/trap.h"
#include "vcard/card.h"
#include "vcard/card_text.h"
#include "vcard/models.h"
#include "wire/driver.h"
#include "wire/ethtool.h"
#include "wire/mailbox.h"
#include "wire/netlink.h"
#include "wire/tunnel.h"

namespace vcard {

namespace {

constexpr size_t largest_file = 64 << 20;  // an archive may hold more than the card

int card_file_read(const std::string& path, std::string& text) {
  UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) {
    return host_error(exit_usage, "cannot open the card file %s: %s", path.c_str(), strerror(errno));
  }
  std::string bytes;
  char block[65536];
  ssize_t length;
  while ((length = read(file.get(), block, sizeof block)) > 0 && bytes.size() <= largest_file) {
    bytes.append(block, static_cast<size_t>(length));
  }
  if (length < 0) {
    return host_error(exit_usage, "cannot read the card file %s: %s", path.c_str(), strerror(errno));
  }
  const std::string refusal =
      bytes.size() > largest_file ? "larger than a card file may be" : card_text_find(bytes, text);
  return refusal.empty() ? 0 : host_error(exit_usage, "%s: %s", path.c_str(), refusal.c_str());
}

int complaints_report(const CardFile& file, const std::string& path) {
  int status = 0;
  for (const std::string& line : file.complaints()) {
    status = host_error(exit_usage, "%s: %s", path.c_str(), line.c_str());
  }
  return status;
}

struct TrapRow {
  const char* name;
  std::unique_ptr<Trap> (*make)(const CallRules& rules);
};

/// In the order in which they are tried.
constexpr TrapRow trap_rows[] = {{"notify", notify_trap}, {"ptrace", ptrace_trap}};

int state_folders_make(const std::string& state) {
  for (const char* name : {"", "/tmp", "/tmp/kxtool", "/tmp/kx_pcie", "/log"}) {
    const std::string path = state + name;
    if (!state.empty() && mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
      return host_error(exit_failure, "cannot make the folder %s: %s", path.c_str(), strerror(errno));
    }
  }
  return 0;
}

/// 0, or the exit status of a run that ends here.
int room_enter(const RunOptions& options, const Attempt& attempt) {
  if (int status = state_folders_make(options.state); status != 0) {
    return status;
  }
  const std::string refusal = attempt.room->enter(options.state);
  if (refusal.empty()) {
    return 0;
  }
  static_cast<void>(!write(attempt.refusal, refusal.data(), refusal.size()));
  return exit_not_supported;
}

/// The card with its wires, and the loop that serves them until the command ends.
class Run {
 public:
  Run(CardFile& file, Room& room)
      : room_(room),
        card_(file, log_),
        tree_(with_models(card_), room.root()),
        mailbox_(card_),
        tunnel_(card_),
        netlink_(card_),
        driver_(card_, netlink_),
        ethtool_(card_),
        system_log_(log_) {}
  /// The card thread calls into the wires: it must have ended before they do.
  ~Run() {
    card_.stop();
  }

  /// Inside the room: makes the card and its files.
  int prepare(const RunOptions& options);
  int serve(const RunOptions& options, const Attempt& attempt, int signals);

 private:
  static Card& with_models(Card& card) {
    models_attach(card);
    return card;
  }
  /// Forks the command with the first trap that works.
  int command_start(const RunOptions& options, const Attempt& attempt);
  void call_handle(TrappedCall& call);
  void ioctl_handle(TrappedCall& call);
  void mapping_handle(TrappedCall& call);
  void write_handle(TrappedCall& call);
  /// True when the command has ended.
  bool signals_handle(int signals);
  bool children_handle();

  Room& room_;
  RequestLog log_;
  Card card_;
  SysfsTree tree_;
  Mailbox mailbox_;
  Tunnel tunnel_;
  NetlinkWire netlink_;
  DriverWire driver_;
  EthtoolWire ethtool_;
  SystemLog system_log_;
  std::unique_ptr<Trap> trap_;
  const Trap::Handler handler_ = [this](TrappedCall& call) { call_handle(call); };
  Command command_;
  int status_ = exit_failure;
};

int Run::prepare(const RunOptions& options) {
  if (!options.log.empty() && !log_.open(options.log.c_str())) {
    return host_error(exit_usage, "cannot open the log %s: %s", options.log.c_str(), strerror(errno));
  }
  if (int status = tree_.prepare(); status != 0) {
    return status;
  }
  if (!card_.create({tree_.storage_folder(), options.state})) {
    return host_error(exit_failure, "cannot make the memory of the card: %s", strerror(errno));
  }
  card_.processes = descendants;
  card_.bar_files_renew = [this] { tree_.bar_files_renew(); };
  return tree_.write();
}

int Run::command_start(const RunOptions& options, const Attempt& attempt) {
  std::string refusals;
  for (const TrapRow& row : trap_rows) {
    if (options.trap != "auto" && options.trap != row.name) {
      continue;
    }
    trap_ = row.make(room_.rules());
    const int error = command_prepare(options.command, *trap_, command_);
    if (error == 0) {
      if (!attempt.refusals.empty() || !refusals.empty()) {
        host_error(0, "room %s, trap %s (%s%s)", attempt.room_name, row.name, attempt.refusals.c_str(),
                   refusals.c_str());
      }
      return 0;
    }
    refusals += refusals.empty() && attempt.refusals.empty() ? "" : "; ";
    refusals += std::string(row.name) + ": " + strerror(error);
    if (error == EBUSY) {
      break;  // another listener takes the calls before any trap
    }
  }
  return host_error(exit_not_supported, "the kernel does not hand over system calls (%s)", refusals.c_str());
}

int Run::serve(const RunOptions& options, const Attempt& attempt, int signals) {
  if (int status = command_start(options, attempt); status != 0) {
    return status;
  }
  umask(0);  // the command's own is taken from the modes of what is made for it
  card_.start();
  command_release(command_);
  bool ended = false;
  while (!ended) {
    std::vector<struct pollfd> set = {
        {signals, POLLIN, 0}, {attempt.parent, POLLIN, 0}, {trap_->descriptor(), POLLIN, 0}};
    {
      std::lock_guard guard(card_.lock());
      netlink_.poll_add(set);
    }
    system_log_.poll_add(set);
    if (poll(set.data(), set.size(), trap_->has_more() ? 0 : -1) < 0 && errno != EINTR) {
      return host_error(exit_failure, "poll: %s", strerror(errno));
    }
    trap_->take(set[2].revents, handler_);
    {
      std::lock_guard guard(card_.lock());
      netlink_.poll_handle(set);
    }
    system_log_.take();
    ended = (set[0].revents != 0 && signals_handle(signals)) || (trap_->has_more() && children_handle()) ||
            set[1].revents != 0;
  }
  system_log_.take();  // what came with the end
  return status_;
}

void Run::call_handle(TrappedCall& call) {
  using Handle = void (*)(Run & run, TrappedCall & call);
  static constexpr struct {
    int64_t number;
    Handle handle;
  } card_calls[] = {
      {SYS_ioctl, [](Run& run, TrappedCall& trapped) { run.ioctl_handle(trapped); }},
      {SYS_socket, [](Run& run, TrappedCall& trapped) { run.netlink_.open_socket(trapped); }},
      {SYS_bind, [](Run& run, TrappedCall& trapped) { run.netlink_.bind_socket(trapped); }},
      {SYS_connect, [](Run& run, TrappedCall& trapped) { run.system_log_.connect(trapped); }},
      {SYS_mmap, [](Run& run, TrappedCall& trapped) { run.mapping_handle(trapped); }},
      {SYS_write, [](Run& run, TrappedCall& trapped) { run.write_handle(trapped); }},
  };
  for (const auto& row : card_calls) {
    if (row.number == call.number()) {
      std::lock_guard guard(card_.lock());
      row.handle(*this, call);
      return;
    }
  }
  // A path is a matter of files alone, and dozens of them belong to a word of card memory: the card's thread is not
  // held up for them.
  room_.handle(call);
}

void Run::ioctl_handle(TrappedCall& call) {
  if (static_cast<uint32_t>(call.argument(1)) == driver_ioctl_request) {
    driver_.handle(call);
  } else {
    ethtool_.handle(call);
  }
}

/// The kernel maps a BAR that a driver has claimed for nobody else.
void Run::mapping_handle(TrappedCall& call) {
  if (tree_.is_bar_file(call.descriptor_target(static_cast<int>(call.argument(4)))) && !card_.bar_map()) {
    call.fail(EINVAL);
  } else {
    call.pass_on();
  }
}

/// Files that make the kernel do something before the write returns.
void Run::write_handle(TrappedCall& call) {
  const std::string target = call.descriptor_target(static_cast<int>(call.argument(0)));
  char text[control_text_max];
  const size_t length = std::min<size_t>(call.argument(2), sizeof text);
  int error = -1;
  if (tree_.is_below(target) && call.read(call.argument(1), text, length)) {
    error = tree_.control_write(target, {text, length});
  }
  if (error < 0) {
    call.pass_on();
  } else if (error == 0) {
    call.finish(static_cast<int64_t>(length));
  } else {
    call.fail(error);
  }
}

bool Run::children_handle() {
  int wait_status;
  while (const pid_t pid = trap_->reap(wait_status, handler_)) {
    if (pid == command_.pid) {
      status_ = exit_status_of(wait_status);
      return true;
    }
  }
  return false;
}

bool Run::signals_handle(int signals) {
  bool pass_on = false;
  bool ended = false;
  while (int number = signal_read(signals, pass_on)) {
    if (pass_on) {
      kill(command_.pid, number);
    }
    ended = (number == SIGCHLD && children_handle()) || ended;
  }
  return ended;
}

}  // namespace

bool room_is_known(const std::string& name) {
  return name == "auto" || name == "mount" || name == "user" || name == "paths";
}

bool trap_is_known(const std::string& name) {
  return name == "auto" ||
         std::any_of(std::begin(trap_rows), std::end(trap_rows), [&](const TrapRow& row) { return name == row.name; });
}

int run_card(const RunOptions& options, const Attempt& attempt) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  std::string text = "{}";
  if (!options.card.empty()) {
    text.clear();
    if (int status = card_file_read(options.card, text); status != 0) {
      return status;
    }
  }
  UniqueFd signals(signals_take());
  CardFile file(text);
  int status;
  {
    Run run(file, *attempt.room);
    status = complaints_report(file, options.card);
    status = status != 0 ? status : room_enter(options, attempt);
    status = status != 0 ? status : run.prepare(options);
    status = status != 0 ? status : run.serve(options, attempt, signals.get());
  }
  descendants_end();
  return status;
}

}  // namespace vcard
