// A whole update of 8 MiB beside the floor of the sleeps that the interface states for its packets, both ways to the
// card. The floor is slept at the same time and with the same timer slack as in the tool; the seven ticks of 100 ms
// between the states of the update are no part of it. Also the memory that it takes, and the image checksum beside a
// copy of the same bytes.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "fwupdate/package.h"
#include "side_by_side.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t IMAGE_SIZE = 8 << 20;
constexpr uint32_t PACKETS = (IMAGE_SIZE + 2027) / 2028;
constexpr uint32_t PACKET_US = 10000;  // the pause for a card that runs an operating system
constexpr uint32_t POLL_US = 100;      // the mailbox's pause before the first look at a reply
constexpr unsigned long TIMER_SLACK_NS = 1000;
constexpr double MEMORY_LIMIT_MIB = 16;
constexpr int MEMORY_LOOK_MS = 5000;

struct update {
  const char* name;
  uint32_t poll_us;   // slept for one packet beside the pause behind it
  std::string input;  // of the shell; empty for one-shot
};

class workplace {
 public:
  workplace() {
    char name[] = "/tmp/kx_bench_XXXXXX";
    folder_ = mkdtemp(name) != nullptr ? name : "";
    std::ofstream(path("image.bin")) << std::string(IMAGE_SIZE, '\x5a');
    std::ofstream(path("package.json")) << R"({"identification": "TARN-FW-BOARDTYPE-2", "kind": 1,
        "images": [{"file": "image.bin", "offset": "0x41000", "type": 2}]})";
    std::ofstream(path("card.json")) << R"({"information": {"os_type": 1},
        "update": {"header_ms": 0, "erase_ms": 0, "read_back_ms": 0, "end_ms": 0}})";
    ok_ = system((KXPKG_PATH " build " + path("package.json") + " " + path("update.pkg")).c_str()) == 0;
  }
  ~workplace() {
    fs::remove_all(folder_);
  }
  workplace(const workplace&) = delete;
  workplace& operator=(const workplace&) = delete;

  bool ok() const {
    return ok_;
  }
  std::string path(const std::string& name) const {
    return folder_ + "/" + name;
  }

 private:
  std::string folder_;
  bool ok_ = false;
};

// The largest memory, in MiB, that a process of the tool has had so far.
double tool_memory() {
  double most = 0;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator("/proc", ignored)) {
    if (fs::read_symlink(entry.path() / "exe", ignored) != fs::path(KX_TOOL_PATH)) {
      continue;
    }
    std::ifstream status(entry.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("VmHWM:")) {
        most = std::max(most, strtod(line.c_str() + strlen("VmHWM:"), nullptr) / 1024);
      }
    }
  }
  return most;
}

// Runs the update and returns its exit status; `memory` is the most that the tool took.
int run(const workplace& work, const update& which, double* memory) {
  std::string command = std::string("exec " KXVCARD_PATH " --card ") + work.path("card.json") + " -- " KX_TOOL_PATH;
  if (which.input.empty()) {
    command += " fwupdate eth0 " + work.path("update.pkg");
  } else {
    std::ofstream(work.path("input")) << which.input;
    command += " <" + work.path("input");
  }
  command += " >/dev/null";
  const char* words[] = {"/bin/sh", "-c", command.c_str(), nullptr};
  pid_t pid = 0;
  int status = -1;
  if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, const_cast<char**>(words), environ) != 0) {
    return -1;
  }
  const int end_fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  struct pollfd end = {end_fd, POLLIN, 0};
  // Rarely: looking costs time, and the high-water mark is the kernel's.
  while (poll(&end, 1, MEMORY_LOOK_MS) == 0) {
    *memory = std::max(*memory, tool_memory());
  }
  close(end_fd);
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool measure(const workplace& work, const update& which) {
  double floor_s = 0;
  double memory = 0;
  int status = 0;
  std::thread floor([&] {
    prctl(PR_SET_TIMERSLACK, TIMER_SLACK_NS);
    floor_s = side_by_side::time_of([&] {
                for (uint32_t i = 0; i < PACKETS; ++i) {
                  if (which.poll_us != 0) {
                    usleep(which.poll_us);
                  }
                  usleep(PACKET_US);
                }
              }) /
              1e9;
  });
  const double ours_s = side_by_side::time_of([&] { status = run(work, which, &memory); }) / 1e9;
  floor.join();
  std::printf("%-44s %12.2f %12.2f %8.3f %8s\n", which.name, ours_s, floor_s, ours_s / floor_s, "1.03");
  std::printf("%-44s %12.1f %12s %8s %8.1f  (MiB)\n", "  memory of the tool", memory, "", "", MEMORY_LIMIT_MIB);
  std::fflush(stdout);
  return status == 0;
}

void measure_checksum() {
  const std::vector<uint8_t> bytes(128 << 20, 0x5A);
  std::vector<uint8_t> copy(bytes.size());
  std::vector<double> ours;
  std::vector<double> peer;
  for (int i = 0; i < 11; ++i) {
    ours.push_back(side_by_side::time_of([&] { side_by_side::keep(fw_checksum(bytes)); }) / 1e6);
    peer.push_back(side_by_side::time_of([&] { memcpy(copy.data(), bytes.data(), bytes.size()); }) / 1e6);
    side_by_side::keep(copy[static_cast<size_t>(i)]);
  }
  side_by_side::table("milliseconds").row("sum of 128 MiB / memory copy", ours, peer, "1.00");
}

}  // namespace

int main() {
  measure_checksum();
  const workplace work;
  if (!work.ok()) {
    return 1;
  }
  const update updates[] = {
      {"update of 8 MiB through the driver", 0, ""},
      {"update of 8 MiB through the mailbox", POLL_US,
       "0\nsu opsu\nkxtool fwupdate 0000:3b:00.0 " + work.path("update.pkg") + "\nquit\n"},
  };
  std::printf("%-44s %12s %12s %8s %8s  (seconds)\n", "work", "ours", "floor", "ratio", "limit");
  for (const update& which : updates) {
    if (!measure(work, which)) {
      std::fprintf(stderr, "%s failed\n", which.name);
      return 1;
    }
  }
  return 0;
}
