// kxreport beside what it cannot do without: the words of card memory and the driver's exchanges that an answer needs,
// each as long as it takes alone. The program starts itself again under each virtual card, so that kxvcard's start is
// not counted.
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "device/interfaces.h"
#include "driver_exchange.h"
#include "kx_pcie/bind.h"
#include "kx_pcie/tunnel.h"
#include "kxtools/bind.h"
#include "side_by_side.h"

namespace {

constexpr int ROUNDS = 3;
constexpr int TRANSFERS = 200;
constexpr uint64_t ADDRESS = 0x6208000000;
constexpr int CARDS = 8;
constexpr double BESIDE_TRANSFERS_MS = 5;

// In place of a command: the transfers that all commands are made of.
constexpr const char* WORD = "one word of card memory";
constexpr const char* EXCHANGE = "one exchange";

double word_measure(bool* good) {
  kxtools_sbdf function = 0;
  *good = kxtools_dev_name2bdf("0000:3b:00.0", &function) == 0 && kxtools_dev_bind(function) == 0;
  return side_by_side::wall_time_of([&] {
           for (int i = 0; i < TRANSFERS && *good; ++i) {
             uint32_t value = 0;
             *good = read_val_from_kx(ADDRESS, &value) == 0;
           }
         }) /
         TRANSFERS;
}

double exchange_measure(bool* good) {
  DriverExchange exchange;
  return side_by_side::wall_time_of([&] {
           for (int i = 0; i < TRANSFERS && *good; ++i) {
             *good = exchange.run();
           }
         }) /
         TRANSFERS;
}

/// Prints the milliseconds that a command or transfer takes.
int measure_inside(const std::string& command) {
  bool good = true;
  double nanoseconds = 0;
  if (command == WORD) {
    nanoseconds = word_measure(&good);
  } else if (command == EXCHANGE) {
    nanoseconds = exchange_measure(&good);
  } else {
    const std::string line = std::string(KXREPORT " ") + command + " >/dev/null";
    nanoseconds = side_by_side::wall_time_of([&] { good = system(line.c_str()) == 0; });
  }
  printf("%f\n", nanoseconds / 1e6);
  return good ? 0 : 1;
}

double measure(const std::string& self, const std::string& options, const std::string& command) {
  const std::string line = std::string(KXVCARD " ") + options + " -- " + self + " --inside '" + command + "'";
  FILE* stream = popen(line.c_str(), "re");
  double milliseconds = -1;
  const bool read = stream != nullptr && fscanf(stream, "%lf", &milliseconds) == 1;
  if (stream == nullptr || pclose(stream) != 0 || !read) {
    fprintf(stderr, "%s: not possible here\n", line.c_str());
    exit(1);
  }
  return milliseconds;
}

/// What a command asks the card and its driver for, and how long that takes.
struct transfers {
  int words = 0;
  int exchanges = 0;
  double milliseconds(double word, double exchange) const {
    return words * word + exchanges * exchange;
  }
};

transfers transfers_of(const std::string& self, const std::string& folder, const char* command) {
  const std::string log = folder + "/log";
  measure(self, "--log " + log, command);
  std::ifstream lines(log);
  transfers made;
  for (std::string line; std::getline(lines, line);) {
    made.words += line.starts_with("card_read ") ? 1 : 0;
    made.exchanges += line.starts_with("ioctl ") || line.starts_with("ethtool ") ? 1 : 0;
  }
  remove(log.c_str());
  return made;
}

void cards_write(const std::string& path, int cards) {
  std::ofstream out(path);
  out << R"({"functions": {"0000:3b:00.1": {"present": false}, "0000:3b:01.0": {"present": false})";
  for (int i = 1; i < cards; ++i) {
    out << ", \"0000:" << std::hex << 0x60 + i << std::dec << ":00.0\": {\"kind\": \"physical\", \"interface\": \"eth"
        << 10 + i << "\", \"driver\": \"corvane10e\"}";
  }
  out << "}}";
}

void growth(const std::string& self, const std::string& folder) {
  const std::string card = folder + "/cards.json";
  for (const int cards : {1, 4, 16, 64}) {
    cards_write(card, cards);
    side_by_side::point("kxreport list, cards", cards, measure(self, "--card " + card, "list"), "ms");
    side_by_side::point("kxreport registers of all, cards", cards, measure(self, "--card " + card, "registers --all"),
                        "ms");
  }
  remove(card.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2 && strcmp(argv[1], "--inside") == 0) {
    return measure_inside(argv[2]);
  }
  char folder[] = "/tmp/report_bench.XXXXXX";
  char self[4096] = {};
  if (readlink("/proc/self/exe", self, sizeof self - 1) < 0 || mkdtemp(folder) == nullptr) {
    return 1;
  }
  if (side_by_side::growth_asked(argc, argv)) {
    growth(self, folder);
    remove(folder);
    return 0;
  }
  const std::string one = std::string(folder) + "/one.json";
  const std::string eight = std::string(folder) + "/eight.json";
  cards_write(one, 1);
  cards_write(eight, CARDS);
  constexpr const char* METRICS = "summary eth0 --format openmetrics";
  const transfers of_list = transfers_of(self, folder, "list");
  const transfers of_registers = transfers_of(self, folder, "registers eth0");
  const transfers of_metrics = transfers_of(self, folder, METRICS);
  side_by_side::samples list, list_floor, registers, registers_floor, metrics, metrics_floor;
  for (int round = 0; round < ROUNDS; ++round) {
    const double word = measure(self, "", WORD);
    const double exchange = measure(self, "", EXCHANGE);
    const double list_of_one = measure(self, "--card " + one, "list");
    list.push_back(measure(self, "--card " + eight, "list"));
    list_floor.push_back(list_of_one + (CARDS - 1) * of_list.words * word);
    registers.push_back(measure(self, "", "registers eth0"));
    registers_floor.push_back(of_registers.milliseconds(word, exchange));
    metrics.push_back(measure(self, "", METRICS));
    // A report's start and its words take what they take in a report.
    const double word_in_report = (registers.back() - of_registers.exchanges * exchange) / of_registers.words;
    metrics_floor.push_back(measure(self, "", "identity eth0") + of_metrics.milliseconds(word_in_report, exchange) +
                            BESIDE_TRANSFERS_MS);
  }
  side_by_side::row("kxreport list of 8 cards", "ms", list, "one card, and the others' words, one by one", list_floor,
                    1.2);
  side_by_side::row("kxreport registers", "ms", registers, "its transfers", registers_floor, 1.1);
  side_by_side::row("kxreport summary, metrics", "ms", metrics, "a report of no word, its transfers, 5 ms",
                    metrics_floor, 1.0);
  remove(one.c_str());
  remove(eight.c_str());
  remove(folder);
}
