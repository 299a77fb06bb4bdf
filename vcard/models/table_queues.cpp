// The queue engine of the network processor: a doorbell names an item in host memory, the card executes its commands on
// the table memories and overwrites the item's acknowledge word.

#include <array>
#include <cstring>
#include <vector>

#include "host_memory.h"
#include "network_processor.h"
#include "vcard/models.h"
#include "vcard/np_commands.h"

namespace vcard {

namespace {

constexpr uint32_t length_mask = 0x3ff;
constexpr uint32_t interrupt_bit = 1u << 29;
constexpr uint32_t dump_bit = 1u << 30;

constexpr uint32_t item_buffer = 16;
constexpr uint32_t acknowledge_done = 0x5a5a5a00;

constexpr uint32_t queue_state = 0x502240;
constexpr uint32_t last_operation = 0x502440;
constexpr uint32_t last_address = 0x502450;
constexpr uint32_t finish_events = 0x503040;
constexpr uint32_t read_errors = 0x504000;
constexpr uint32_t write_errors = 0x504004;
constexpr uint32_t down_counters = 0x504040;
constexpr uint32_t dump_counters = 0x504240;

constexpr uint32_t operation_read = 1;
constexpr uint32_t operation_write = 2;

/// What a doorbell said.
struct Item {
  uint32_t queue;
  uint64_t bus;
  uint32_t words;
  bool interrupt;
  bool dump;
};

class TableQueues {
 public:
  TableQueues(Card& card, NetworkProcessor& processor)
      : card_(card), processor_(processor), commands_(processor.tables()), memory_(card) {
    const CardSection section = card.file().section("table_queues");
    silent_ = section.flag("silent", false);
    status_ = static_cast<uint32_t>(section.number("status", 0, 0xff));
    delay_ = std::chrono::milliseconds(section.number("delay_ms", 0, 600000));
    processor.doorbell = [this](uint32_t queue) { rung(queue); };
  }

 private:
  void rung(uint32_t queue) {
    const uint32_t at = doorbells + queue * doorbell_stride;
    const uint32_t length = processor_.word(at + doorbell_length);
    const uint64_t bus = (uint64_t{processor_.word(at)} << 32 | processor_.word(at + 4)) << 4;
    const Item item = {queue, bus, length & length_mask, (length & interrupt_bit) != 0, (length & dump_bit) != 0};
    if (delay_.count() == 0) {
      run(item);
    } else {
      card_.schedule(delay_, [this, item] { run(item); });
    }
  }

  void run(const Item& item) {
    std::vector<uint8_t> block(size_t{item.words} * 4);
    note_access(item, operation_read);
    NpStatus result;
    if (!memory_.read(item.bus + item_buffer, block)) {
      count(read_errors);
      result = commands_.refuse(NpStatus::bus_error);
    } else if (item.dump) {
      result = dump(item, block);
    } else {
      result = commands_.execute(block);
    }
    const uint32_t status = status_ != 0 ? status_ : static_cast<uint32_t>(result);
    count((item.dump ? dump_counters : down_counters) + 4 * item.queue);
    processor_.set_word(queue_state + 4 * item.queue, status);
    card_.log().line("table_block queue=%u bytes=%zu dump=%u status=0x%02x", item.queue, block.size(),
                     item.dump ? 1 : 0, status);
    if (silent_) {
      return;
    }
    const uint32_t acknowledge = acknowledge_done | status;
    std::array<uint8_t, 4> bytes;
    std::memcpy(bytes.data(), &acknowledge, bytes.size());
    note_access(item, operation_write);
    if (!memory_.write(item.bus, bytes)) {
      count(write_errors);
    }
    if (item.interrupt) {
      const uint32_t events = finish_events + item.queue / 32 * 4;
      processor_.set_word(events, processor_.word(events) | 1u << item.queue % 32);
    }
  }

  // The answer takes the place of the commands in the item.
  NpStatus dump(const Item& item, std::span<const uint8_t> block) {
    std::vector<uint8_t> answer;
    const NpStatus result = commands_.dump(block, answer);
    if (result == NpStatus::success && !memory_.write(item.bus + item_buffer, answer)) {
      count(write_errors);
      return NpStatus::bus_error;
    }
    return result;
  }

  void note_access(const Item& item, uint32_t operation) {
    processor_.set_word(last_operation, operation << 30 | item.words << 16 | item.queue);
    processor_.set_word(last_address, static_cast<uint32_t>(item.bus >> 32));
    processor_.set_word(last_address + 4, static_cast<uint32_t>(item.bus));
  }

  void count(uint32_t counter) {
    processor_.set_word(counter, processor_.word(counter) + 1);
  }

  Card& card_;
  NetworkProcessor& processor_;
  NpCommands commands_;
  HostMemory memory_;
  bool silent_;
  uint32_t status_;
  std::chrono::milliseconds delay_;
};

}  // namespace

void table_queues_attach(Card& card, NetworkProcessor& processor) {
  card.own(std::make_unique<TableQueues>(card, processor));
}

}  // namespace vcard
