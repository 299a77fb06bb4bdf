#include "network_processor.h"

#include <algorithm>
#include <cstdlib>

#include "vcard/models.h"

namespace vcard {

namespace {

/// What a part of a block does when it is accessed.
enum class Behaviour : uint8_t { plain, read_only, write_one_to_clear, read_clear };

struct Area {
  uint32_t begin;
  uint32_t end;
  Behaviour behaviour;
};

/// Most blocks are laid out alike.
constexpr Area block_areas[] = {
    {0x2000, 0x3000, Behaviour::read_only},
    {0x3000, 0x4000, Behaviour::write_one_to_clear},
    {0x4000, 0x6000, Behaviour::read_clear},
};
constexpr Area statistics_areas[] = {
    {0x3000, 0x4000, Behaviour::read_only},
    {0x4000, 0x5000, Behaviour::write_one_to_clear},
    {0x5000, 0x8000, Behaviour::read_clear},
};
constexpr Area cluster_areas[] = {
    {0x2000, 0x3000, Behaviour::read_only},
    {0x3000, 0x4000, Behaviour::write_one_to_clear},
    {0x5000, 0x8000, Behaviour::read_clear},
};
constexpr Area port_areas[] = {
    {0x400, 0x800, Behaviour::read_only},
    {0x800, 0xc00, Behaviour::write_one_to_clear},
    {0xc00, 0xe00, Behaviour::read_only},
    {0xe00, 0x1000, Behaviour::read_clear},
};

/// Blocks of one layout: `count` of them, `stride` bytes apart.
struct BlockGroup {
  uint32_t base;
  uint32_t stride;
  uint32_t count;
  std::span<const Area> areas;
};
constexpr uint32_t port_base = 0x400000;
constexpr uint32_t port_stride = 0x1000;
constexpr uint32_t port_count = 31;
constexpr BlockGroup block_groups[] = {
    {0x000000, 0x8000, 6, block_areas},  // configuration, mr, pktrx (two), pbu, isu
    {0x028000, 0x8000, 1, block_areas},  // odma
    {0x080000, 0x8000, 1, block_areas},  // packet processing, common part
    {cluster_base, cluster_stride, cluster_count, cluster_areas},
    {0x0d0000, 0x8000, 1, block_areas},  // address translation
    {0x0e0000, 0x8000, 1, block_areas},  // oam
    {0x100000, 0x8000, 1, block_areas},  // traffic manager
    {0x200000, 0x8000, 1, statistics_areas},
    {0x240000, 0x8000, 1, block_areas},  // policers
    {0x260000, 0x8000, 4, block_areas},  // search engine: common, hash, routes, ternary memory
    {0x288000, 0x8000, 1, block_areas},  // algorithmic memory
    {0x300000, 0x8000, 1, block_areas},  // eRAM
    {0x320000, 0x8000, 2, block_areas},  // DDR, associated data
    {port_base, port_stride, port_count, port_areas},
    {0x420000, 0x8000, 1, block_areas},  // ports, common part
    {0x480000, 0x8000, 1, block_areas},  // time-sensitive ports
    {0x4c0000, 0x8000, 1, block_areas},  // internal bus
    {0x500000, 0x8000, 1, block_areas},  // queue engine
};

constexpr uint32_t port_counters = 0xc00;  // receive and send packets, receive and send bytes, 64 bits each
constexpr uint32_t port_counters_end = 0xc20;
constexpr uint32_t port_status = 0x400;
constexpr uint32_t link_up_bit = 1u << 31;
constexpr uint32_t receive_rate_word = 0x422008;
constexpr uint32_t send_rate_word = 0x42200c;

constexpr uint32_t user_table = 0x010c40;  // 64 entries of two words
constexpr uint32_t micro_code_entry = 10;
constexpr uint32_t dump_command_form = 0x502008;
constexpr uint32_t feature_words = 0x0000c0;
constexpr size_t feature_count = 6;

constexpr uint32_t default_dump_command_form = 0x4b584431;
constexpr uint32_t default_micro_code_version = 0x01020003;
constexpr uint32_t default_micro_code_time = 0x1a0b180a;
constexpr uint64_t default_features[feature_count] = {0x1, 0, 0, 0, 0, 0};

Behaviour behaviour_at(uint32_t offset) {
  for (const BlockGroup& group : block_groups) {
    if (offset < group.base || offset - group.base >= group.stride * group.count) {
      continue;
    }
    const uint32_t inside = (offset - group.base) % group.stride;
    for (const Area& area : group.areas) {
      if (inside >= area.begin && inside < area.end) {
        return area.behaviour;
      }
    }
  }
  return Behaviour::plain;
}

/// A key that is a number, of at most `max`.
bool key_number(const CardSection& section, const std::string& key, uint64_t max, uint32_t* number) {
  char* rest = nullptr;
  const uint64_t value = strtoull(key.c_str(), &rest, 0);
  if (key.empty() || *rest != '\0' || value > max) {
    section.complain(key, "not a number of this section");
    return false;
  }
  *number = static_cast<uint32_t>(value);
  return true;
}

}  // namespace

NetworkProcessor::NetworkProcessor(const CardSection& section) {
  fill_reset_values();
  counter_rate_ = static_cast<uint32_t>(section.number("counter_rate", 0, 1000000000));
  const uint32_t entry = user_table + 8 * micro_code_entry;
  words_[entry] = static_cast<uint32_t>(section.number("micro_code_version", default_micro_code_version, UINT32_MAX));
  words_[entry + 4] =
      static_cast<uint32_t>(section.number("micro_code_build_time", default_micro_code_time, UINT32_MAX));
  words_[dump_command_form] =
      static_cast<uint32_t>(section.number("dump_command_form", default_dump_command_form, UINT32_MAX));
  const std::vector<uint64_t> features =
      section.numbers("features", {std::begin(default_features), std::end(default_features)});
  for (size_t i = 0; i < std::min(features.size(), feature_count); ++i) {
    const uint32_t word = feature_words + 8 * static_cast<uint32_t>(i);
    words_[word] = static_cast<uint32_t>(features[i] >> 32);
    words_[word + 4] = static_cast<uint32_t>(features[i]);
  }
  load_ports(section.section("ports"));
  load_tables(section);
  load_words(section.section("registers"));
}

void NetworkProcessor::load_ports(const CardSection& ports) {
  uint64_t receive_rate = 0;
  uint64_t send_rate = 0;
  for (const std::string& key : ports.keys()) {
    uint32_t port = 0;
    if (!key_number(ports, key, port_count - 1, &port)) {
      continue;
    }
    const CardSection section = ports.section(key.c_str());
    ports_[port] = Flow(section);
    receive_rate += section.number("receive_packet_rate", 0);
    send_rate += section.number("send_packet_rate", 0);
    if (!section.flag("link_up", true)) {
      words_[port_base + port * port_stride + port_status] &= ~link_up_bit;
    }
  }
  words_[receive_rate_word] = static_cast<uint32_t>(std::min<uint64_t>(receive_rate, UINT32_MAX));
  words_[send_rate_word] = static_cast<uint32_t>(std::min<uint64_t>(send_rate, UINT32_MAX));
}

void NetworkProcessor::load_tables(const CardSection& section) {
  const CardSection statistics = section.section("statistics");
  for (const std::string& key : statistics.keys()) {
    uint32_t index = 0;
    if (key_number(statistics, key, (1u << 26) - 1, &index)) {
      const uint64_t value = statistics.number(key.c_str(), 0);
      *statistics_word(index, 0) = static_cast<uint32_t>(value >> 32);
      *statistics_word(index, 1) = static_cast<uint32_t>(value);
    }
  }
  const CardSection eram = section.section("eram");
  for (const std::string& key : eram.keys()) {
    uint32_t line = 0;
    if (key_number(eram, key, eram_lines - 1, &line)) {
      const Bytes bytes = eram.bytes(key.c_str(), {}, 16);
      for (size_t i = 0; i < bytes.size(); ++i) {
        tables_.eram(line)[i / 4] |= uint32_t{bytes[i]} << (24 - 8 * (i % 4));
      }
    }
  }
}

void NetworkProcessor::load_words(const CardSection& section) {
  for (const std::string& key : section.keys()) {
    uint32_t offset = 0;
    if (key_number(section, key, network_processor_size - 4, &offset)) {
      if (offset % 4 != 0) {
        section.complain(key, "not the offset of a 32-bit word");
      }
      words_[offset & ~3u] = static_cast<uint32_t>(section.number(key.c_str(), 0, UINT32_MAX));
    }
  }
}

uint32_t NetworkProcessor::word(uint32_t offset) const {
  const auto found = words_.find(offset);
  return found != words_.end() ? found->second : 0;
}

void NetworkProcessor::set_word(uint32_t offset, uint32_t value) {
  words_[offset] = value;
}

// A counter holds what it was set to and what it has gained since it was last read.
uint32_t NetworkProcessor::read_counter(uint32_t offset) {
  uint32_t value = word(offset);
  words_[offset] = 0;
  if (counter_rate_ != 0) {
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start_).count();
    const uint64_t gained = static_cast<uint64_t>(us) * counter_rate_ / 1000000;
    uint64_t& read = counted_[offset];
    value += static_cast<uint32_t>(gained - read);
    read = gained;
  }
  return value;
}

uint32_t NetworkProcessor::read_port(uint32_t offset) const {
  static constexpr Flow::Counter order[] = {Flow::receive_packets, Flow::send_packets, Flow::receive_bytes,
                                            Flow::send_bytes};
  const auto port = ports_.find((offset - port_base) / port_stride);
  if (port == ports_.end()) {
    return word(offset);
  }
  const uint32_t inside = offset % port_stride - port_counters;
  const uint64_t value = port->second.value(order[inside / 8]);
  return static_cast<uint32_t>(inside % 8 == 0 ? value >> 32 : value);
}

uint32_t NetworkProcessor::read(uint64_t bus_offset) {
  const uint32_t offset = static_cast<uint32_t>(bus_offset);
  const bool in_ports = offset >= port_base && offset - port_base < port_stride * port_count;
  const uint32_t inside = offset % port_stride;
  if (in_ports && inside >= port_counters && inside < port_counters_end) {
    return read_port(offset);
  }
  return behaviour_at(offset) == Behaviour::read_clear ? read_counter(offset) : word(offset);
}

void NetworkProcessor::write(uint64_t bus_offset, uint32_t value) {
  const uint32_t offset = static_cast<uint32_t>(bus_offset);
  switch (behaviour_at(offset)) {
    case Behaviour::read_only:
    case Behaviour::read_clear:
      return;
    case Behaviour::write_one_to_clear:
      words_[offset] = word(offset) & ~value;
      return;
    case Behaviour::plain:
      break;
  }
  words_[offset] = value;
  if (run_window(offset, value) || run_capture(offset, value) || run_debugger(offset, value)) {
    return;
  }
  if (doorbell && offset >= doorbells && offset % doorbell_stride == doorbell_length) {
    doorbell((offset - doorbells) / doorbell_stride);
  }
}

NpTables& network_processor_tables(NetworkProcessor& processor) {
  return processor.tables();
}

NetworkProcessor& network_processor_attach(Card& card) {
  auto* model = card.own(std::make_unique<NetworkProcessor>(card.file().section("network_processor")));
  card.memory().attach(network_processor_base, network_processor_size, model);
  return *model;
}

}  // namespace vcard
