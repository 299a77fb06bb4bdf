// kxreport beside what it cannot do without: eight cards beside one, registers and metrics beside the words of card
// memory that they need. The program starts itself again under each virtual card, so that kxvcard's start is not
// counted.
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "device/address.h"
#include "kx_pcie/bind.h"
#include "kx_pcie/tunnel.h"
#include "kxtools/bind.h"
#include "side_by_side.h"

namespace {

constexpr int ROUNDS = 3;
constexpr int WORDS = 200;
constexpr uint64_t ADDRESS = 0x6208000000;
constexpr int CARDS = 8;

/// Milliseconds of a command; of its words without one.
int measure_inside(const char* command) {
  bool good = true;
  double milliseconds = 0;
  if (*command != '\0') {
    const std::string line = std::string(KXREPORT " ") + command + " >/dev/null";
    milliseconds = side_by_side::wall_time_of([&] { good = system(line.c_str()) == 0; }) / 1e6;
  } else {
    kxtools_sbdf function = 0;
    good = kxtools_dev_name2bdf("0000:3b:00.0", &function) == 0 && kxtools_dev_bind(function) == 0;
    milliseconds = side_by_side::wall_time_of([&] {
                     for (int i = 0; i < WORDS && good; ++i) {
                       uint32_t value = 0;
                       good = read_val_from_kx(ADDRESS, &value) == 0;
                     }
                   }) /
                   1e6 / WORDS;
  }
  printf("%f\n", milliseconds);
  return good ? 0 : 1;
}

double measure(const std::string& self, const std::string& options, const char* command) {
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

/// How many words of card memory a command reads.
int words_of(const std::string& self, const std::string& folder, const char* command) {
  const std::string log = folder + "/log";
  measure(self, "--log " + log, command);
  std::ifstream lines(log);
  int words = 0;
  for (std::string line; std::getline(lines, line);) {
    words += line.starts_with("card_read ") ? 1 : 0;
  }
  remove(log.c_str());
  return words;
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
  const int register_words = words_of(self, folder, "registers eth0");
  const int metric_words = words_of(self, folder, METRICS);
  side_by_side::samples list_one, list_eight, registers, registers_floor, metrics, metrics_floor;
  for (int round = 0; round < ROUNDS; ++round) {
    list_one.push_back(measure(self, "--card " + one, "list"));
    list_eight.push_back(measure(self, "--card " + eight, "list"));
    const double word = measure(self, "", "");
    registers.push_back(measure(self, "", "registers eth0"));
    registers_floor.push_back(word * register_words);
    metrics.push_back(measure(self, "", METRICS));
    metrics_floor.push_back(word * metric_words);
  }
  side_by_side::row("kxreport list of 8 cards", "ms", list_eight, "list of one card", list_one, side_by_side::NO_LIMIT);
  side_by_side::row("kxreport registers", "ms", registers, "its words of card memory", registers_floor, 1.1);
  side_by_side::row("kxreport summary, metrics", "ms", metrics, "its words of card memory", metrics_floor,
                    side_by_side::NO_LIMIT);
  remove(one.c_str());
  remove(eight.c_str());
  remove(folder);
}
