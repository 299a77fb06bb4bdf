// The virtio queue engine: its register window with what reacts to being written, the counters of its virtual
// functions, and the window of what the host sees of them. Registers that nothing reacts to are memory.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <unordered_map>

#include "flow.h"
#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

constexpr uint64_t engine_window = 0x6208000000;
constexpr uint64_t engine_size = 0x410000;
constexpr uint64_t vf_counter_area = 0x6208410000;
constexpr uint64_t vf_counter_stride = 0x10000;
constexpr uint64_t vf_counter_arrays = 5;
constexpr uint64_t host_window = 0x6209000000;
constexpr uint64_t host_size = 0x900000;
constexpr uint64_t vf_count = 1193;

constexpr uint32_t newer_version = 0x20250129;

/// Where a register lies in the older and in the newer layout.
struct Place {
  uint64_t older;
  uint64_t newer;
};

constexpr Place version = {0x00, 0x00};
constexpr Place date = {0x04, 0x04};
constexpr Place interrupt_status = {0x10, 0x10};
constexpr Place interrupt_test = {0x14, 0x14};
constexpr Place translation_select = {0xc0, 0xc0};
constexpr Place translation_result = {0xc4, 0xc4};
constexpr Place buffer_select = {0x2004, 0x12004};
constexpr Place buffer_words = {0x2054, 0x12054};
constexpr Place descriptor_select = {0x2060, 0x12060};
constexpr Place descriptor_address = {0x2068, 0x12068};
constexpr Place descriptor_length = {0x2070, 0x12070};
constexpr Place queue_select = {0x3000, 0x13000};
constexpr Place queue_state = {0x3004, 0x13004};
constexpr Place port_receive = {0x9000, 0x19000};  // packets, then bytes
constexpr Place port_send = {0x9018, 0x19018};
constexpr Place receive_clear = {0x9038, 0x19038};
constexpr Place send_clear = {0x903c, 0x1903c};
constexpr Place generator_words = {0x9040, 0x19040};  // control, packet length, packet count, gap

/// Writing 1 to a register clears the words from first to last.
struct Clear {
  Place place;
  Place first;
  Place last;
};
constexpr Clear clears[] = {
    {{0x34, 0x34}, {0xa0, 0xa0}, {0xa4, 0xa4}},
    {{0x200c, 0x1200c}, {0x2020, 0x12020}, {0x203c, 0x1203c}},
    {{0x5000, 0x15000}, {0x5010, 0x15010}, {0x5010, 0x15010}},
    {{0x5000, 0x15000}, {0x5028, 0x15028}, {0x5028, 0x15028}},
    {{0x5000, 0x15000}, {0x5060, 0x15060}, {0x5064, 0x15064}},
    {{0x5004, 0x15004}, {0x5008, 0x15008}, {0x500c, 0x1500c}},
};

/// What a healthy engine holds.
constexpr struct {
  Place place;
  uint32_t value;
} defaults[] = {
    {{0x40, 0x40}, 0x80000000},                                   // first function of endpoint 0
    {{0x94, 0x94}, 0x00004001},                                   // local rdesc: 64 entries
    {{0xb4, 0xb4}, 0x00000001},      {{0xd0, 0xd0}, 0x00004000},  // outstanding reads: none of 64
    {{0xd4, 0xd4}, 0x00004000},      {{0xd8, 0xd8}, 0x00002000},      {{0x2008, 0x12008}, 0x80000000},  // rdesc idle
    {{0x3008, 0x13008}, 0x00000001}, {{0x300c, 0x1300c}, 0x08000100}, {{0x3010, 0x13010}, 0x80000810},
    {{0x3020, 0x13020}, 0x00000100}, {{0x3024, 0x13024}, 0x00000100}, {{0x4008, 0x14008}, 250},  // MHz
    {{0x400c, 0x1400c}, 10},         {{0x4020, 0x14020}, 1000},       {{0x4024, 0x14024}, 64},
    {{0x5030, 0x15030}, 16384},                                        // buffers free
    {{0x5038, 0x15038}, 4096},       {{0x6010, 0x16010}, 0x80000000},  // idle
    {{0x7010, 0x17010}, 0x80000000}, {{0x8014, 0x18014}, 20},         {{0xa000, 0x1a000}, 0x0000000f},
};

constexpr uint64_t clock_hz = 250000000;
constexpr uint64_t bytes_per_clock = 16;

class QueueEngine : public CardMemoryBlock {
 public:
  explicit QueueEngine(const CardSection& section)
      : version_(static_cast<uint32_t>(section.number("version", newer_version, UINT32_MAX))),
        date_(static_cast<uint32_t>(section.number("date", 0x20250129, UINT32_MAX))) {
    for (const auto& row : defaults) {
      words_[at(row.place)] = row.value;
    }
    load_words(section.section("registers"));
  }

  uint32_t read(uint64_t offset) override {
    if (offset == at(version)) {
      return version_;
    }
    if (offset == at(date)) {
      return date_;
    }
    if (const auto [counter, shift] = port_place(offset); shift >= 0) {
      return static_cast<uint32_t>(port_.value(counter) >> shift);
    }
    auto word = words_.find(offset);
    return word != words_.end() ? word->second : 0;
  }

  void write(uint64_t offset, uint32_t value) override {
    words_[offset] = value;
    for (const Clear& clear : clears) {
      if (offset == at(clear.place) && (value & 1) != 0) {
        for (uint64_t word = at(clear.first); word <= at(clear.last); word += 4) {
          words_[word] = 0;
        }
      }
    }
    react(offset, value);
  }

 private:
  // What the card file sets, nothing reacts to.
  void load_words(const CardSection& section) {
    for (const std::string& key : section.keys()) {
      char* rest = nullptr;
      const uint64_t offset = strtoull(key.c_str(), &rest, 0);
      if (rest == key.c_str() || *rest != '\0' || offset % 4 != 0 || offset >= engine_size) {
        section.complain(key, "not the offset of a 32-bit word");
        continue;
      }
      const uint64_t value = section.number(key.c_str(), 0, UINT32_MAX);
      if (const auto [counter, shift] = port_place(offset); shift >= 0) {
        const uint64_t other = port_.value(counter) & ~(uint64_t{UINT32_MAX} << shift);
        port_.set(counter, other | value << shift);
      } else {
        words_[offset] = static_cast<uint32_t>(value);
      }
    }
  }

  uint64_t at(const Place& place) const {
    return version_ == newer_version ? place.newer : place.older;
  }

  void react(uint64_t offset, uint32_t value) {
    if (offset == at(interrupt_test)) {
      words_[at(interrupt_status)] |= value;
    } else if (offset == at(translation_select)) {
      translate(value & 0x7ff, value >> 12 & 0xfff);
    } else if (offset == at(buffer_select)) {
      words_[at(buffer_words)] = 0xb0000000 | value;
      words_[at(buffer_words) + 4] = 0xb1000000 | value;
    } else if (offset == at(descriptor_select)) {
      select_descriptor(value & 0xfff, value >> 12);
    } else if (offset == at(queue_select)) {
      words_[at(queue_state)] = 0x10 | (value & 0xf);
    } else if (offset == at(receive_clear)) {
      port_.set(Flow::receive_packets, 0);
      port_.set(Flow::receive_bytes, 0);
    } else if (offset == at(send_clear)) {
      port_.set(Flow::send_packets, 0);
      port_.set(Flow::send_bytes, 0);
    } else if (offset == at(generator_words)) {
      generate(value);
    }
  }

  void translate(uint32_t vf, uint32_t queue) {
    bool known = vf < vf_count;
    words_[at(translation_result)] = known ? 0x80000000 | (queue * 2 & 0x7fff) << 16 | (vf + 8) : 0;
  }

  void select_descriptor(uint32_t queue, uint32_t entry) {
    uint64_t address = 0x100000000 + uint64_t{queue} * 0x100000 + uint64_t{entry} * 16;
    words_[at(descriptor_address)] = static_cast<uint32_t>(address);
    words_[at(descriptor_address) + 4] = static_cast<uint32_t>(address >> 32);
    words_[at(descriptor_length)] = 1514;
  }

  // Bit 0 starts the generator: as many packets as asked for at once, or without end (bit 1) as fast as the gap allows.
  void generate(uint32_t control) {
    uint64_t length = words_[at(generator_words) + 4] & 0xffff;
    uint64_t count = words_[at(generator_words) + 8];
    uint64_t gap = words_[at(generator_words) + 12] & 0xffff;
    bool enabled = (control & 1) != 0;
    bool endless = enabled && (control & 2) != 0;
    uint64_t clocks = std::max<uint64_t>(1, gap + (length + bytes_per_clock - 1) / bytes_per_clock);
    port_.set_rate(Flow::send_packets, endless ? clock_hz / clocks : 0);
    port_.set_rate(Flow::send_bytes, endless ? clock_hz / clocks * length : 0);
    if (enabled && !endless) {
      port_.set(Flow::send_packets, port_.value(Flow::send_packets) + count);
      port_.set(Flow::send_bytes, port_.value(Flow::send_bytes) + count * length);
    }
  }

  /// The port's counter whose half lies there, and where the half stands in it; -1 for none.
  std::pair<Flow::Counter, int> port_place(uint64_t offset) const {
    static constexpr std::pair<Place, Flow::Counter> places[] = {
        {port_receive, Flow::receive_packets},
        {{port_receive.older + 8, port_receive.newer + 8}, Flow::receive_bytes},
        {port_send, Flow::send_packets},
        {{port_send.older + 8, port_send.newer + 8}, Flow::send_bytes},
    };
    for (const auto& [place, counter] : places) {
      if (offset == at(place) || offset == at(place) + 4) {
        return {counter, offset == at(place) ? 0 : 32};
      }
    }
    return {Flow::receive_packets, -1};
  }

  uint32_t version_;
  uint32_t date_;
  std::unordered_map<uint64_t, uint32_t> words_;
  Flow port_;
};

/// Five arrays, one element a function: four 64-bit counters of traffic, one 32-bit counter of drops.
class VfCounters : public CardMemoryBlock {
 public:
  explicit VfCounters(const CardSection& section) {
    for (const std::string& key : section.keys()) {
      unsigned vf = 0;
      if (sscanf(key.c_str(), "%u", &vf) != 1 || key != std::to_string(vf) || vf >= vf_count) {
        section.complain(key, "not a virtual function from 0 to 1192");
        continue;
      }
      CardSection entry = section.section(key.c_str());
      flows_.emplace(vf, Flow(entry));
      drops_[vf] = static_cast<uint32_t>(entry.number("drops", 0, UINT32_MAX));
    }
  }

  uint32_t read(uint64_t offset) override {
    uint64_t array = offset / vf_counter_stride;
    uint64_t place = offset % vf_counter_stride;
    if (array == Flow::counters) {
      auto drops = drops_.find(place / 4);
      return drops != drops_.end() ? drops->second : 0;
    }
    auto flow = flows_.find(place / 8);
    if (flow == flows_.end()) {
      return 0;
    }
    uint64_t value = flow->second.value(static_cast<Flow::Counter>(array));
    return static_cast<uint32_t>(value >> (place % 8 == 0 ? 0 : 32));
  }
  void write(uint64_t, uint32_t) override {}

 private:
  std::map<uint64_t, Flow> flows_;
  std::map<uint64_t, uint32_t> drops_;
};

/// What the host sees of each function, and the registers common to all behind it.
class HostWindow : public CardMemoryBlock {
 public:
  HostWindow(const CardSection& section, bool newer)
      : features_(section.number("features", 0x130c7ffe3)), vf_stride_(newer ? 0x1000 : 0x800) {
    words_[common + 0x10] = 512;
    words_[common + 0x14] = 1024;
    words_[common + 0x30] = static_cast<uint32_t>(features_);
    words_[common + 0x34] = static_cast<uint32_t>(features_ >> 32);
  }

  uint32_t read(uint64_t offset) override {
    auto word = words_.find(offset);
    if (word != words_.end()) {
      return word->second;
    }
    return offset < common && offset % vf_stride_ == feature ? feature_word(0) : 0;
  }

  void write(uint64_t offset, uint32_t value) override {
    words_[offset] = value;
    if (offset < common && offset % vf_stride_ == feature_select) {
      words_[offset - feature_select + feature] = feature_word(value);
    } else if (offset == common + lock_select) {
      words_[common + lock_state] = 0x10u * (value & 0xfff) | 1;
    }
  }

 private:
  static constexpr uint64_t common = 0x800000;
  static constexpr uint64_t feature_select = 0x00;
  static constexpr uint64_t feature = 0x04;
  static constexpr uint64_t lock_select = 0x50;
  static constexpr uint64_t lock_state = 0x54;

  uint32_t feature_word(uint32_t select) const {
    return select > 1 ? 0 : static_cast<uint32_t>(features_ >> (32 * select));
  }

  uint64_t features_;
  uint64_t vf_stride_;
  std::unordered_map<uint64_t, uint32_t> words_;
};

}  // namespace

void queue_engine_attach(Card& card) {
  CardSection section = card.file().section("queue_engine");
  bool newer = section.number("version", newer_version, UINT32_MAX) == newer_version;
  card.memory().attach(engine_window, engine_size, card.own(std::make_unique<QueueEngine>(section)));
  card.memory().attach(vf_counter_area, vf_counter_arrays * vf_counter_stride,
                       card.own(std::make_unique<VfCounters>(section.section("vfs"))));
  card.memory().attach(host_window, host_size, card.own(std::make_unique<HostWindow>(section, newer)));
}

}  // namespace vcard
