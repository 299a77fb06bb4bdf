// A whole update of 8 MiB beside the floor of the sleeps that the interface states for its packets, both ways to the
// card. The floor is slept at the same time and with the same timer slack as in the tool; the seven ticks of 100 ms
// between the states of the update are no part of it. Also the memory that it takes, and the image checksum beside a
// pass that only reads the same bytes.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
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

constexpr uint32_t MIB = 1 << 20;
constexpr uint32_t PACKET_BYTES = 2028;
constexpr uint32_t PACKET_US = 10000;  // the pause for a card that runs an operating system
constexpr int ROUNDS = 2;              // of whole updates
constexpr uint32_t POLL_US = 100;      // the mailbox's pause before the first look at a reply
constexpr unsigned long TIMER_SLACK_NS = 1000;
constexpr double MEMORY_LIMIT_MIB = 16;
constexpr int MEMORY_LOOK_MS = 5000;
constexpr int CHECKSUM_ROUNDS = 15;

struct update {
  const char* name;
  uint32_t poll_us;   // slept for one packet beside the pause behind it
  std::string input;  // of the shell; empty for one-shot
};

class workplace {
 public:
  explicit workplace(uint32_t image_bytes, int os_type = 1) {
    char name[] = "/tmp/kx_bench_XXXXXX";
    folder_ = mkdtemp(name) != nullptr ? name : "";
    std::ofstream(path("image.bin")) << std::string(image_bytes, '\x5a');
    std::ofstream(path("package.json")) << R"({"identification": "TARN-FW-BOARDTYPE-2", "kind": 1,
        "images": [{"file": "image.bin", "offset": "0x41000", "type": 2}]})";
    std::ofstream(path("card.json")) << R"({"information": {"os_type": )" << os_type << R"(},
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

struct figures {
  side_by_side::samples seconds, floor, memory;
};

/// An update of 8 MiB, and its floor at the same time.
void measure(const workplace& work, const update& which, figures* into) {
  double floor_s = 0;
  double memory = 0;
  int status = 0;
  std::thread floor([&] {
    prctl(PR_SET_TIMERSLACK, TIMER_SLACK_NS);
    floor_s = side_by_side::wall_time_of([&] {
                for (uint32_t i = 0; i < (8 * MIB + PACKET_BYTES - 1) / PACKET_BYTES; ++i) {
                  if (which.poll_us != 0) {
                    usleep(which.poll_us);
                  }
                  usleep(PACKET_US);
                }
              }) /
              1e9;
  });
  into->seconds.push_back(side_by_side::wall_time_of([&] { status = run(work, which, &memory); }) / 1e9);
  floor.join();
  side_by_side::must(status == 0, which.name);
  into->floor.push_back(floor_s);
  into->memory.push_back(memory);
}

/// What memory and caches can give: four words at a time, none of which waits for another.
uint64_t read_pass(std::span<const uint8_t> bytes) {
  std::array<uint64_t, 4> all = {};
  for (size_t step = 0; step < bytes.size() / sizeof all; ++step) {
    std::array<uint64_t, 4> words;
    memcpy(&words, bytes.data() + step * sizeof words, sizeof words);
    for (size_t i = 0; i < all.size(); ++i) {
      all[i] ^= words[i];
    }
  }
  return all[0] ^ all[1] ^ all[2] ^ all[3];
}

void checksum_compare(const char* what, size_t size, int passes) {
  const std::vector<uint8_t> bytes(size, 0x5A);
  side_by_side::samples ours;
  side_by_side::samples reads;
  for (int round = 0; round < CHECKSUM_ROUNDS; ++round) {
    const auto time = [&](auto pass) {
      return side_by_side::time_of([&] {
               for (int i = 0; i < passes; ++i) {
                 side_by_side::keep(pass(std::span<const uint8_t>(bytes)));
               }
             }) /
             1e3 / passes;
    };
    ours.push_back(time(fw_checksum));
    reads.push_back(time(read_pass));
  }
  side_by_side::row(what, "us", ours, "read-only pass of words", reads, 1.2);
}

void updates_compare() {
  const workplace work(8 * MIB);
  side_by_side::must(work.ok(), "no package");
  const update driver = {"update of 8 MiB, driver", 0, ""};
  const update mailbox = {"update of 8 MiB, mailbox", POLL_US,
                          "0\nsu opsu\nkxtool fwupdate 0000:3b:00.0 " + work.path("update.pkg") + "\nquit\n"};
  figures by_driver, by_mailbox;
  for (int round = 0; round < ROUNDS; ++round) {
    measure(work, driver, &by_driver);
    measure(work, mailbox, &by_mailbox);
  }
  const side_by_side::samples allowed(ROUNDS, MEMORY_LIMIT_MIB);
  side_by_side::row(driver.name, "s", by_driver.seconds, "its pauses", by_driver.floor, 1.02);
  side_by_side::row(mailbox.name, "s", by_mailbox.seconds, "its pauses", by_mailbox.floor, 1.015);
  side_by_side::row("memory of an update, driver", "MiB", by_driver.memory, "16 MiB", allowed, 1.0);
  side_by_side::row("memory of an update, mailbox", "MiB", by_mailbox.memory, "16 MiB", allowed, 1.0);
}

/// With the shorter pause of a card without an operating system, up to what a partition of the card takes.
void growth() {
  for (const uint32_t mib : {1u, 4u, 16u, 48u}) {
    const workplace work(mib * MIB, 0);
    double memory = 0;
    int status = -1;
    const double time = side_by_side::wall_time_of([&] {
                          status = work.ok() ? run(work, {"", 0, ""}, &memory) : -1;
                        }) /
                        1e9;
    side_by_side::must(status == 0, "an update failed");
    side_by_side::point("update, MiB", mib, time, "s");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (side_by_side::growth_asked(argc, argv)) {
    growth();
    return 0;
  }
  checksum_compare("image sum, 64 KiB in cache", 64 << 10, 1000);
  checksum_compare("image sum, 128 MiB", 128 * MIB, 1);
  updates_compare();
  return 0;
}
