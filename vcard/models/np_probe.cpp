// Packet capture of the receive, buffer and output blocks, and the micro-code debugger of the clusters.

#include <array>

#include "network_processor.h"

namespace vcard {

namespace {

/// The registers of one block's capture.
struct Capture {
  uint32_t enable;
  uint32_t clear;
  uint32_t filter_enable;
  uint32_t destination;  // MAC address of the filter, 64 bits
  uint32_t source;
  uint32_t status;
  uint32_t data;
};
constexpr Capture captures[] = {
    {0x011ba8, 0x011bac, 0x011bb0, 0x011bc0, 0x011bd0, 0x012000, 0x012040},
    {0x01941c, 0x019420, 0x019424, 0x019430, 0x019440, 0x01a000, 0x01a040},
    {0x0286b0, 0x0286b4, 0x0286b8, 0x0286d0, 0x0286e0, 0x02a000, 0x02a040},
};
constexpr uint32_t capture_words = 64;
constexpr uint32_t capture_full = 1u << 31;
constexpr uint32_t capture_one_packet = 1u << 16;
constexpr uint32_t destination_filter = 1u << 1;
constexpr uint32_t source_filter = 1u << 2;

constexpr size_t mac_length = 6;
constexpr size_t packet_length = 64;
constexpr uint64_t default_destination = 0x021cf2000001;
constexpr uint64_t default_source = 0x021cf20000fe;

constexpr uint32_t debug_control = 0x4040;
constexpr uint32_t debug_status = 0x4048;
constexpr uint32_t breakpoints = 0x4080;
constexpr uint32_t dynamic_breakpoints = 0x40c0;
constexpr uint32_t breakpoint_count = 8;
constexpr uint32_t cluster_interrupt = 0x3000;
constexpr uint32_t packet_send = 0x080018;

constexpr uint32_t control_start = 1u << 0;
constexpr uint32_t control_step_into = 1u << 1;
constexpr uint32_t control_step_over = 1u << 2;
constexpr uint32_t control_stop = 1u << 3;
constexpr uint32_t status_running = 1u << 31;
constexpr uint32_t status_stopped = 1u << 30;
constexpr uint32_t counter_mask = 0xffff;
constexpr uint32_t valid_bit = 1u << 31;
constexpr uint32_t breakpoint_interrupt = 1u << 4;

void put_mac(std::array<uint8_t, packet_length>& packet, size_t at, uint64_t mac) {
  for (size_t i = 0; i < mac_length; ++i) {
    packet[at + i] = static_cast<uint8_t>(mac >> (8 * (mac_length - 1 - i)));
  }
}

}  // namespace

// Capture takes the next packet that its filters let through: one from the addresses that they name, else the card's.
bool NetworkProcessor::run_capture(uint32_t offset, uint32_t value) {
  for (const Capture& capture : captures) {
    if (offset != capture.enable && offset != capture.clear) {
      continue;
    }
    if ((value & 1) == 0) {
      return true;
    }
    words_[capture.status] = 0;
    for (uint32_t i = 0; i < capture_words; ++i) {
      words_[capture.data + 4 * i] = 0;
    }
    if (offset == capture.clear) {
      words_[offset] = 0;
      return true;
    }
    const auto address = [&](uint32_t filter, uint32_t at, uint64_t otherwise) {
      const uint64_t set = uint64_t{word(at)} << 32 | word(at + 4);
      return (word(capture.filter_enable) & filter) != 0 ? set : otherwise;
    };
    std::array<uint8_t, packet_length> packet;
    for (size_t i = 0; i < packet_length; ++i) {
      packet[i] = static_cast<uint8_t>(i);
    }
    put_mac(packet, 0, address(destination_filter, capture.destination, default_destination));
    put_mac(packet, mac_length, address(source_filter, capture.source, default_source));
    packet[2 * mac_length] = 0x08;
    packet[2 * mac_length + 1] = 0x00;
    for (uint32_t i = 0; i < packet_length; ++i) {
      words_[capture.data + i / 4 * 4] |= uint32_t{packet[i]} << (24 - 8 * (i % 4));
    }
    words_[capture.status] = capture_full | capture_one_packet | packet_length;
    return true;
  }
  return false;
}

void NetworkProcessor::stop_cluster(uint32_t cluster, uint32_t pc) {
  words_[cluster_base + cluster * cluster_stride + debug_status] = status_stopped | (pc & counter_mask);
}

// A cluster runs until a packet reaches a breakpoint; then it stops there and says so with its interrupt.
bool NetworkProcessor::run_debugger(uint32_t offset, uint32_t value) {
  if (offset == packet_send && (value & valid_bit) != 0) {
    words_[offset] = value & ~valid_bit;
    for (uint32_t cluster = 0; cluster < cluster_count; ++cluster) {
      const uint32_t base = cluster_base + cluster * cluster_stride;
      for (uint32_t i = 0; i < 2 * breakpoint_count; ++i) {
        const uint32_t list = i < breakpoint_count ? breakpoints : dynamic_breakpoints;
        const uint32_t breakpoint = word(base + list + 4 * (i % breakpoint_count));
        if ((breakpoint & valid_bit) != 0 && (word(base + debug_status) & status_running) != 0) {
          stop_cluster(cluster, breakpoint);
          words_[base + cluster_interrupt] |= breakpoint_interrupt;
        }
      }
    }
    return true;
  }
  const uint32_t cluster = (offset - cluster_base) / cluster_stride;
  if (offset < cluster_base || cluster >= cluster_count || (offset - cluster_base) % cluster_stride != debug_control) {
    return false;
  }
  words_[offset] = 0;
  uint32_t& status = words_[cluster_base + cluster * cluster_stride + debug_status];
  if ((value & control_stop) != 0) {
    stop_cluster(cluster, status);
  } else if ((value & (control_step_into | control_step_over)) != 0 && (status & status_stopped) != 0) {
    stop_cluster(cluster, status + 1);
  } else if ((value & control_start) != 0) {
    status = status_running | (status & counter_mask);
  }
  return true;
}

}  // namespace vcard
