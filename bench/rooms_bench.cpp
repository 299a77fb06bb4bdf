// The rooms and traps of the virtual card beside the first of them: a word of card memory, an exchange with the driver,
// and a whole run of kxvcard. The program starts itself again under each virtual card.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "device/interfaces.h"
#include "driver_exchange.h"
#include "kx_pcie/bind.h"
#include "kx_pcie/tunnel.h"
#include "kxtools/bind.h"
#include "side_by_side.h"

namespace {

constexpr int ROUNDS = 5;
constexpr int WORDS = 50;
constexpr int EXCHANGES = 500;
constexpr uint64_t ADDRESS = 0x6208000000;

struct Place {
  const char* room;
  const char* trap;
  side_by_side::samples word, exchange, start;  // microseconds
};

int measure_inside() {
  kxtools_sbdf function = 0;
  if (kxtools_dev_name2bdf("0000:3b:00.0", &function) != 0 || kxtools_dev_bind(function) != 0) {
    return 1;
  }
  bool good = true;
  const double words = side_by_side::wall_time_of([&] {
    for (int i = 0; i < WORDS; ++i) {
      uint32_t value = 0;
      good = good && read_val_from_kx(ADDRESS, &value) == 0;
    }
  });
  DriverExchange exchange;
  const double exchanges = side_by_side::wall_time_of([&] {
    for (int i = 0; i < EXCHANGES; ++i) {
      good = good && exchange.run();
    }
  });
  printf("%f %f\n", words / WORDS / 1000, exchanges / EXCHANGES / 1000);
  return good ? 0 : 1;
}

bool measure(Place& place, const std::string& self) {
  const std::string card = std::string(KXVCARD " --room ") + place.room + " --trap " + place.trap + " -- ";
  int status = 0;
  place.start.push_back(side_by_side::wall_time_of([&] { status = system((card + "true").c_str()); }) / 1000);
  FILE* stream = popen((card + self + " --inside").c_str(), "re");
  double word = 0;
  double exchange = 0;
  const bool read = stream != nullptr && fscanf(stream, "%lf %lf", &word, &exchange) == 2;
  place.word.push_back(word);
  place.exchange.push_back(exchange);
  return stream != nullptr && pclose(stream) == 0 && read && status == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && strcmp(argv[1], "--inside") == 0) {
    return measure_inside();
  }
  char self[4096] = {};
  if (readlink("/proc/self/exe", self, sizeof self - 1) < 0) {
    return 1;
  }
  Place places[] = {
      {"mount", "notify"}, {"mount", "ptrace"}, {"user", "notify"}, {"paths", "notify"}, {"paths", "ptrace"}};
  for (int round = 0; round < ROUNDS; ++round) {
    for (Place& place : places) {
      if (!measure(place, self)) {
        fprintf(stderr, "room %s, trap %s: not possible here\n", place.room, place.trap);
        return 1;
      }
    }
  }
  for (const Place& place : places) {
    const std::string name = std::string("room ") + place.room + ", trap " + place.trap;
    const char* const first = "room mount, trap notify";
    side_by_side::row(name + ": word of card memory", "us", place.word, first, places[0].word, side_by_side::NO_LIMIT);
    side_by_side::row(name + ": driver exchange", "us", place.exchange, first, places[0].exchange,
                      side_by_side::NO_LIMIT);
    side_by_side::row(name + ": start and end", "us", place.start, first, places[0].start, side_by_side::NO_LIMIT);
  }
}
