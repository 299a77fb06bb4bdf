// The trace information block: state of the traffic generators of three paths, and the port counters of two.

#include <array>
#include <cstdio>
#include <map>
#include <memory>

#include "flow.h"
#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

constexpr uint64_t trace_block = 0x6214000000;
constexpr uint64_t trace_block_size = 0x30000;

constexpr uint64_t generator_stride = 0x40;
constexpr uint64_t generators_per_path = 8;
constexpr uint64_t generators_first = 0x100;
constexpr uint64_t generators_path_stride = 0x300;
constexpr const char* generator_paths[] = {"vqm", "dtp", "np"};
constexpr uint64_t send_packets_word = 0x10;
constexpr uint64_t receive_packets_word = 0x18;

constexpr uint64_t port_stride = 0x20;
constexpr uint64_t ports_per_path = 16;
constexpr struct {
  const char* name;
  uint64_t first;
} port_paths[] = {{"dtp", 0x10000}, {"np", 0x20000}};

uint32_t half(uint64_t value, bool upper) {
  return static_cast<uint32_t>(value >> (upper ? 32 : 0));
}

struct Generator {
  explicit Generator(const CardSection& section) : flow(section) {
    status = (section.flag("running", false) ? 1u : 0) | (section.flag("link", true) ? 2u : 0) |
             (section.flag("fault", false) ? 4u : 0) |
             static_cast<uint32_t>(section.number("queue_level", 0, 255) << 8);
    errors = static_cast<uint32_t>(section.number("errors", 0, UINT32_MAX));
  }

  uint32_t read(uint64_t offset) const {
    switch (offset & ~uint64_t{4}) {
      case 0:
        return offset == 0 ? status : errors;
      case send_packets_word:
        return half(flow.value(Flow::send_packets), offset != send_packets_word);
      case receive_packets_word:
        return half(flow.value(Flow::receive_packets), offset != receive_packets_word);
      default:
        return 0;
    }
  }

  Flow flow;
  uint32_t status;
  uint32_t errors;
};

class Traffic : public CardMemoryBlock {
 public:
  explicit Traffic(const CardSection& section) {
    CardSection generators = section.section("generators");
    for (size_t path = 0; path < std::size(generator_paths); ++path) {
      CardSection numbers = generators.section(generator_paths[path]);
      for (uint64_t number = 0; number < generators_per_path; ++number) {
        uint64_t place = generators_first + generators_path_stride * path + generator_stride * number;
        generators_.emplace(place, Generator(numbers.section(std::to_string(number).c_str())));
      }
    }
    for (const auto& path : port_paths) {
      CardSection numbers = section.section(path.name);
      for (uint64_t number = 0; number < ports_per_path; ++number) {
        ports_.emplace(path.first + port_stride * number, Flow(numbers.section(std::to_string(number).c_str())));
      }
    }
  }

  uint32_t read(uint64_t offset) override {
    auto generator = generators_.find(offset & ~(generator_stride - 1));
    if (generator != generators_.end()) {
      return generator->second.read(offset % generator_stride);
    }
    auto port = ports_.find(offset & ~(port_stride - 1));
    if (port != ports_.end()) {
      return half(port->second.value(static_cast<Flow::Counter>(offset % port_stride / 8)), offset % 8 != 0);
    }
    return 0;
  }
  void write(uint64_t, uint32_t) override {}

 private:
  std::map<uint64_t, Generator> generators_;
  std::map<uint64_t, Flow> ports_;
};

}  // namespace

void traffic_attach(Card& card) {
  card.memory().attach(trace_block, trace_block_size,
                       card.own(std::make_unique<Traffic>(card.file().section("traffic"))));
}

}  // namespace vcard
