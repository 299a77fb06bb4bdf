// A read of one word of card memory beside a bare loop that makes the calls and sleeps that cannot be left out: a lock,
// and for each of the two transfers the way to the capability, the command and its data, looks 10 us apart, the answer.
// Beyond them the tool looks after the lock file that all users share, and whether the data is still its own answer.
// The program starts itself again under the virtual card.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "device/interfaces.h"
#include "kx_pcie/bind.h"
#include "kx_pcie/tunnel.h"
#include "kxtools/bind.h"
#include "side_by_side.h"

namespace {

constexpr uint64_t ADDRESS = 0x6208000000;
constexpr const char* FUNCTION = "0000:3b:00.0";
constexpr const char* CONFIG = "/sys/bus/pci/devices/0000:3b:00.0/config";
constexpr const char* ON_CARD = "KX_BENCH_ON_CARD";

// The capabilities that the virtual card's function has before and up to the VPD.
constexpr off_t POINTER = 0x34;
constexpr off_t CAPABILITIES[] = {0x40, 0x50, 0x60, 0xB0};
constexpr off_t VPD = 0xB0;

uint64_t allocations = 0;

uint32_t bare_config(off_t offset, const uint32_t* out) {
  uint32_t word = 0;
  const int fd = open(CONFIG, O_RDWR | O_CLOEXEC);
  lseek(fd, offset, SEEK_SET);
  const ssize_t moved = out != nullptr ? write(fd, out, 4) : read(fd, &word, 4);
  close(fd);
  return moved == 4 ? word : 0;
}

uint32_t bare_transfer(uint32_t command, uint32_t data) {
  bare_config(POINTER, nullptr);
  for (const off_t capability : CAPABILITIES) {
    bare_config(capability, nullptr);
  }
  bare_config(VPD + 4, &data);
  bare_config(VPD, &command);
  do {
    usleep(10);
  } while (((bare_config(VPD, nullptr) ^ command) >> 31) == 0);
  return bare_config(VPD + 4, nullptr);
}

uint32_t bare_read() {
  const int lock = open("/tmp/kx_pcie/pcie_catool_lockfile", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  flock(lock, LOCK_EX);
  bare_transfer(0x90620000, 0x08000000);
  const uint32_t value = bare_transfer(0x20000000, 0);
  flock(lock, LOCK_UN);
  close(lock);
  return value;
}

constexpr int ROUNDS = 31;
constexpr int WORDS = 100;  // a round

double tunnel_time() {
  const uint64_t before = allocations;
  bool good = true;
  const double time = side_by_side::wall_time_of([&] {
    for (int i = 0; i < WORDS; ++i) {
      uint32_t value = 0;
      good = good && read_val_from_kx(ADDRESS, &value) == 0;
    }
  });
  side_by_side::must(good, "no answer through the tunnel");
  side_by_side::must(allocations == before, "a read of card memory allocates");
  return time / WORDS / 1000;
}

double bare_time() {
  return side_by_side::wall_time_of([] {
           for (int i = 0; i < WORDS; ++i) {
             side_by_side::keep(bare_read());
           }
         }) /
         WORDS / 1000;
}

void compare() {
  side_by_side::samples tunnel, bare;
  for (int round = 0; round < ROUNDS; ++round) {
    tunnel.push_back(tunnel_time());
    bare.push_back(bare_time());
  }
  side_by_side::row("word of card memory", "us", tunnel, "the calls and sleeps that it needs", bare, 1.1);
}

}  // namespace

// Counts what the measured code allocates; the C library's own memory is not used by it.
void* operator new(size_t size) {
  ++allocations;
  return malloc(size);
}
void operator delete(void* memory) noexcept {
  free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  free(memory);
}

int main() {
  if (getenv(ON_CARD) == nullptr) {
    setenv(ON_CARD, "1", 1);
    char self[4096] = {};
    if (readlink("/proc/self/exe", self, sizeof self - 1) < 0) {
      return 1;
    }
    execl(KXVCARD, KXVCARD, "--", self, nullptr);
    perror(KXVCARD);
    return 1;
  }
  kxtools_sbdf sbdf = 0;
  uint32_t value = 0;
  if (kxtools_dev_name2bdf(FUNCTION, &sbdf) != 0 || kxtools_dev_bind(sbdf) != 0 ||
      read_val_from_kx(ADDRESS, &value) != 0 || bare_read() != value) {
    fprintf(stderr, "the virtual card does not answer\n");
    return 1;
  }
  compare();
  return 0;
}
