#include "run.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/mount_points.h"
#include "host/process.h"
#include "host/sandbox.h"
#include "host/status.h"
#include "host/sysfs_tree.h"
#include "host/trapped_call.h"
#include "vcard/card.h"
#include "vcard/models.h"
#include "wire/driver.h"
#include "wire/ethtool.h"
#include "wire/mailbox.h"
#include "wire/netlink.h"
#include "wire/tunnel.h"

namespace vcard {

namespace {

constexpr size_t largest_card_file = 16 << 20;

int card_file_read(const std::string& path, std::string& text) {
  UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) {
    return host_error(exit_usage, "cannot open the card file %s: %s", path.c_str(), strerror(errno));
  }
  char block[65536];
  ssize_t length;
  while ((length = read(file.get(), block, sizeof block)) > 0 && text.size() < largest_card_file) {
    text.append(block, static_cast<size_t>(length));
  }
  if (length < 0) {
    return host_error(exit_usage, "cannot read the card file %s: %s", path.c_str(), strerror(errno));
  }
  return 0;
}

int complaints_report(const CardFile& file, const std::string& path) {
  int status = 0;
  for (const std::string& line : file.complaints()) {
    status = host_error(exit_usage, "%s: %s", path.c_str(), line.c_str());
  }
  return status;
}

/// The card with its wires, and the loop that serves them until the command ends.
class Run {
 public:
  explicit Run(CardFile& file)
      : card_(file, log_),
        tree_(with_models(card_)),
        mailbox_(card_),
        tunnel_(card_),
        netlink_(card_),
        driver_(card_, netlink_),
        ethtool_(card_) {}
  /// The card thread calls into the wires: it must have ended before they do.
  ~Run() {
    card_.stop();
  }

  int prepare(const RunOptions& options);
  int serve(const RunOptions& options, int signals, int parent);

 private:
  static Card& with_models(Card& card) {
    models_attach(card);
    return card;
  }
  void call_handle();
  void mapping_handle(const TrappedCall& call);
  /// True when the command has ended.
  bool signals_handle(int signals);

  RequestLog log_;
  Card card_;
  SysfsTree tree_;
  Mailbox mailbox_;
  Tunnel tunnel_;
  NetlinkWire netlink_;
  DriverWire driver_;
  EthtoolWire ethtool_;
  Command command_;
  int status_ = exit_failure;
};

int Run::prepare(const RunOptions& options) {
  if (!options.log.empty() && !log_.open(options.log.c_str())) {
    return host_error(exit_usage, "cannot open the log %s: %s", options.log.c_str(), strerror(errno));
  }
  if (int status = sandbox_enter(options.state); status != 0) {
    return status;
  }
  if (int status = tree_.prepare(); status != 0) {
    return status;
  }
  if (!card_.create({SysfsTree::storage_folder(), options.state})) {
    return host_error(exit_failure, "cannot make the memory of the card: %s", strerror(errno));
  }
  card_.processes = descendants;
  card_.bar_files_renew = [this] { tree_.bar_files_renew(); };
  return tree_.write();
}

int Run::serve(const RunOptions& options, int signals, int parent) {
  if (int status = command_prepare(options.command, command_); status != 0) {
    return status;
  }
  card_.start();
  command_release(command_);
  bool ended = false;
  while (!ended) {
    std::vector<struct pollfd> set = {{signals, POLLIN, 0}, {parent, POLLIN, 0}, {command_.listener.get(), POLLIN, 0}};
    {
      std::lock_guard guard(card_.lock());
      netlink_.poll_add(set);
    }
    if (poll(set.data(), set.size(), -1) < 0 && errno != EINTR) {
      return host_error(exit_failure, "poll: %s", strerror(errno));
    }
    if (set[2].revents & POLLIN) {
      call_handle();
    }
    {
      std::lock_guard guard(card_.lock());
      netlink_.poll_handle(set);
    }
    if (set[2].revents & POLLHUP) {
      command_.listener.reset();  // nobody is left whose calls could come here
    }
    ended = (set[0].revents != 0 && signals_handle(signals)) || set[1].revents != 0;
  }
  return status_;
}

void Run::call_handle() {
  TrappedCall call;
  if (!call.receive(command_.listener.get())) {
    return;
  }
  std::lock_guard guard(card_.lock());
  switch (call.kind()) {
    case TrappedCall::Kind::driver_ioctl:
      driver_.handle(call);
      break;
    case TrappedCall::Kind::ethtool_ioctl:
      ethtool_.handle(call);
      break;
    case TrappedCall::Kind::netlink_socket:
      netlink_.open_socket(call);
      break;
    case TrappedCall::Kind::netlink_bind:
      netlink_.bind_socket(call);
      break;
    case TrappedCall::Kind::file_mapping:
      mapping_handle(call);
      break;
  }
}

/// The kernel maps a BAR that a driver has claimed for nobody else.
void Run::mapping_handle(const TrappedCall& call) {
  if (tree_.is_bar_file(call.descriptor_target(static_cast<int>(call.argument(4)))) && !card_.bar_map()) {
    call.fail(EINVAL);
  } else {
    call.pass_on();
  }
}

bool Run::signals_handle(int signals) {
  bool pass_on = false;
  bool ended = false;
  while (int number = signal_read(signals, pass_on)) {
    if (pass_on) {
      kill(command_.pid, number);
    }
    int wait_status;
    pid_t pid;
    while (number == SIGCHLD && (pid = waitpid(-1, &wait_status, WNOHANG)) > 0) {
      if (pid == command_.pid) {
        status_ = exit_status_of(wait_status);
        ended = true;
      }
    }
  }
  return ended;
}

}  // namespace

int run_card(const RunOptions& options, int parent, MountPoints& mount_points) {
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
    Run run(file);
    status = complaints_report(file, options.card);
    status = status != 0 ? status : run.prepare(options);
    status = status != 0 ? status : run.serve(options, signals.get(), parent);
  }
  descendants_end();
  struct pollfd alone = {parent, POLLIN, 0};
  if (poll(&alone, 1, 0) > 0) {
    mount_points.release(true);  // the process that would do it is gone
  }
  return status;
}

}  // namespace vcard
