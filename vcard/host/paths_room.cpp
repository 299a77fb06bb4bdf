#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "host/room.h"
#include "path_calls.h"

namespace vcard {

namespace {

/// Shows the whole of /sys from the card's own tree, so that nothing of the host's is left to be seen there.
constexpr const char* sysfs_folder = "/sys";

class PathsRoom final : public Room {
 public:
  explicit PathsRoom(std::string folder) : folder_(std::move(folder)) {}

  std::string enter(const std::string& state) override {
    for (const char* name : {"/sys", "/sys/bus", "/sys/bus/pci", "/sys/class", "/sys/class/net", "/sys/kernel", "/tmp",
                             "/tmp/kxtool", "/tmp/kx_pcie", "/log"}) {
      const std::string path = folder_ + name;
      if (mkdir(path.c_str(), 0777) != 0) {
        return "cannot make the folder " + path + ": " + strerror(errno);
      }
      chmod(path.c_str(), 0777);
    }
    // As the kernel names it when it is asked for a caller's folder or descriptor.
    char kept_state[PATH_MAX] = "";
    if (!state.empty() && realpath(state.c_str(), kept_state) == nullptr) {
      return state + ": " + strerror(errno);
    }
    const std::string kept = state.empty() ? folder_ : kept_state;
    calls_.emplace(std::vector<ShownFolder>{{sysfs_folder, folder_ + "/sys"},
                                            {run_lock_folder, kept + "/tmp/kxtool"},
                                            {pcie_lock_folder, kept + "/tmp/kx_pcie"},
                                            {log_folder, kept + "/log"}});
    return "";
  }
  std::string root() const override {
    return folder_;
  }
  const CallRules& rules() const override {
    return rules_;
  }
  void handle(TrappedCall& call) override {
    calls_->handle(call);
  }

 private:
  std::string folder_;
  CallRules rules_ = path_rules();
  std::optional<PathCalls> calls_;
};

}  // namespace

std::unique_ptr<Room> paths_room(const std::string& folder) {
  return std::make_unique<PathsRoom>(folder);
}

}  // namespace vcard
