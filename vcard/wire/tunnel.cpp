#include "wire/tunnel.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>

namespace vcard {

namespace {

constexpr std::chrono::microseconds tunnel_poll_period(20);

constexpr size_t data_offset = 4;
constexpr uint32_t flag_bit = 1u << 31;
constexpr uint32_t header_mask = 0xffff;

// Bits 28 to 30 of the dword: what is asked.
constexpr uint32_t set_address_command = 1;
constexpr uint32_t read_command = 2;
constexpr uint32_t write_command = 3;
constexpr uint32_t reset_command = 4;
constexpr uint32_t status_command = 5;

// Bits 16 to 27 carry address bits 32 to 43, of which 40 and 41 are the access mode's.
constexpr uint32_t field_shift = 16;
constexpr uint32_t field_mask = 0xfff;
constexpr uint32_t mode_bits = 0x300;
constexpr uint32_t free_mark = 0x555;

constexpr size_t capability_pointer = 0x34;
constexpr uint32_t extended_list = 0x100;

std::atomic_ref<uint32_t> word(const PciFunction& function, size_t offset) {
  return std::atomic_ref(*reinterpret_cast<uint32_t*>(function.config.bytes().data() + offset));
}

}  // namespace

Tunnel::Tunnel(Card& card) : card_(card) {
  load_faults(card.file().section("faults"));
  card.on_create([this] { create(); });
  card.poll_every(tunnel_poll_period, [this] { return poll(); });
}

void Tunnel::load_faults(const CardSection& faults) {
  CardSection configuration = faults.section("configuration");
  has_pointer_ = configuration.has("capability_pointer");
  pointer_ = configuration.number("capability_pointer", 0, 255);
  capability_loop_ = configuration.flag("capability_loop", false);
  extended_loop_ = configuration.flag("extended_loop", false);
  all_ones_ = configuration.flag("all_ones", false);

  CardSection tunnel = faults.section("tunnel");
  static constexpr const char* channel_names[] = {"still", "free", "changing"};
  channel_ = static_cast<Channel>(tunnel.choice("channel", 0, channel_names));
  bad_addresses_ = tunnel.numbers("bad_addresses", {});
  for (const CardSection& entry : tunnel.sections("transfers")) {
    Fault fault = {};
    fault.range = FaultRange(entry);
    fault.flag_stuck = entry.flag("flag_stuck", false);
    fault.vanish = entry.flag("vanish", false);
    fault.delay_ms = entry.number("delay_ms", 0, 60000);
    fault.status = entry.signed_number("status", -1, -1, UINT32_MAX);
    faults_.push_back(fault);
  }
}

void Tunnel::create() {
  for (PciFunction& function : card_.functions()) {
    if (function.is_card()) {
      break_configuration(function);
    }
    if (function.is_card() && function.has_vpd && !all_ones_) {
      Port port = {.function = &function};
      port.header = word(function, vpd_capability).load() & header_mask;
      port.last = port.header | (channel_ == Channel::free_mark ? free_mark << field_shift : 0);
      word(function, vpd_capability).store(port.last);
      ports_.push_back(port);
    }
  }
}

void Tunnel::break_configuration(PciFunction& function) {
  std::span<uint8_t> bytes = function.config.bytes();
  if (capability_loop_) {
    // The capability before the VPD points to itself; the VPD is never reached.
    bytes[express_capability + 1] = express_capability;
  }
  if (extended_loop_) {
    // Every extended capability points back to the first and none has an id that anybody looks for.
    for (size_t offset : {size_t{aer_capability}, size_t{sriov_capability}, size_t{vendor_capability}}) {
      word(function, offset).store(extended_list << 20 | 1u << 16 | 0x0001);
    }
  }
  if (has_pointer_) {
    bytes[capability_pointer] = static_cast<uint8_t>(pointer_);
  }
  if (all_ones_) {
    std::fill(bytes.begin(), bytes.end(), uint8_t{0xff});
  }
}

bool Tunnel::poll() {
  bool worked = false;
  for (Port& port : ports_) {
    worked = look(port) || worked;
  }
  return worked;
}

bool Tunnel::look(Port& port) {
  uint32_t now = word(*port.function, vpd_capability).load(std::memory_order_acquire);
  if (now == UINT32_MAX) {
    port.last = now;  // the function has left the bus
    return false;
  }
  if (now == port.last) {
    if (channel_ == Channel::changing && !port.open) {
      stir(port);
    }
    return false;
  }
  port.open = false;
  serve(port, now);
  return true;
}

// Somebody else is at work: the field moves. A command that comes in between must not be lost.
void Tunnel::stir(Port& port) {
  uint32_t expected = port.last;
  uint32_t next = port.last + (1u << field_shift);
  next = (port.last & ~(field_mask << field_shift)) | (next & field_mask << field_shift);
  if (word(*port.function, vpd_capability).compare_exchange_strong(expected, next)) {
    port.last = next;
  }
}

void Tunnel::serve(Port& port, uint32_t command) {
  uint32_t data = word(*port.function, vpd_capability + data_offset).load(std::memory_order_acquire);
  uint64_t transfer = transfers_++;
  port.transfer = transfer;
  card_.log().line("tunnel function=%s command=0x%08x data=0x%08x", port.function->sbdf.c_str(), command, data);
  const Fault* fault = fault_of(transfer);
  if (fault != nullptr && fault->vanish) {
    std::span<uint8_t> bytes = port.function->config.bytes();
    std::fill(bytes.begin(), bytes.end(), uint8_t{0xff});
    port.last = UINT32_MAX;
    port.open = true;
    return;
  }
  uint32_t result = execute(port, command, data);
  if (fault != nullptr && fault->status >= 0 && (command >> 28 & 7) == status_command) {
    result = static_cast<uint32_t>(fault->status);
  }
  if (fault == nullptr || (!fault->flag_stuck && fault->delay_ms == 0)) {
    answer(port, command, result);
    return;
  }
  // No answer yet: the header is read-only and comes back, the rest stays as it was written.
  port.open = true;
  leave(port, (command & ~header_mask) | port.header);
  if (!fault->flag_stuck) {
    // Not when the tool has given up meanwhile and asked something else.
    card_.schedule(std::chrono::milliseconds(fault->delay_ms), [this, &port, command, result, transfer] {
      if (port.open && port.transfer == transfer) {
        port.open = false;
        answer(port, command, result);
      }
    });
  }
}

uint32_t Tunnel::execute(Port& port, uint32_t command, uint32_t data) {
  switch (command >> 28 & 7) {
    case set_address_command:
      port.address = uint64_t{command >> field_shift & field_mask & ~mode_bits} << 32 | data;
      return data;
    case read_command:
      port.status = is_bad_address(port.address) ? 0 : 1;
      return port.status == 1 ? card_.memory().read(port.address) : UINT32_MAX;
    case write_command:
      port.status = is_bad_address(port.address) ? 0 : 1;
      if (port.status == 1) {
        card_.memory().write(port.address, data);
      }
      return data;
    case reset_command:
      port.status = 1;
      return data;
    case status_command:
      return port.status;
    default:
      port.status = 0;
      return data;
  }
}

void Tunnel::answer(Port& port, uint32_t command, uint32_t data) {
  word(*port.function, vpd_capability + data_offset).store(data, std::memory_order_release);
  uint32_t field = channel_ == Channel::free_mark ? free_mark << field_shift | (command & 0x70000000)
                                                  : command & ~(flag_bit | header_mask);
  leave(port, ((command & flag_bit) ^ flag_bit) | field | port.header);
}

void Tunnel::leave(Port& port, uint32_t value) {
  port.last = value;
  word(*port.function, vpd_capability).store(value, std::memory_order_release);
}

const Tunnel::Fault* Tunnel::fault_of(uint64_t transfer) const {
  auto fault =
      std::find_if(faults_.begin(), faults_.end(), [transfer](const Fault& row) { return row.range.hits(transfer); });
  return fault != faults_.end() ? &*fault : nullptr;
}

bool Tunnel::is_bad_address(uint64_t address) const {
  return std::find(bad_addresses_.begin(), bad_addresses_.end(), address) != bad_addresses_.end();
}

}  // namespace vcard
