// The five PCIe endpoint controllers as the card itself sees them: the configuration space of each behind its register
// interface, whose read-only registers take writes only while a bit allows it. Their control and status registers are
// memory.

#include <array>
#include <memory>

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

constexpr uint64_t controller_count = 5;
constexpr uint64_t first_controller = 0x8400000000;
constexpr uint64_t controller_stride = 0x100000000;
constexpr uint64_t register_space = 0x1000;

constexpr uint64_t misc_control = 0x8bc;
constexpr uint32_t read_only_writable = 1;
/// Identity and capability headers: what the host must not change.
constexpr uint64_t read_only_end = 0x300;

constexpr uint32_t extended(uint32_t id, uint32_t next) {
  return next << 20 | 1u << 16 | id;
}

class Controller : public CardMemoryBlock {
 public:
  explicit Controller(const CardSection& section) {
    at(0x00) = 0x80371cf2;
    at(0x100) = extended(0x0001, 0x180);
    at(0x180) = extended(0x0010, 0x200);
    at(0x200) = extended(0x000b, 0x240);
    at(0x204) = 0x02010001;
    at(0x240) = extended(0x000b, 0);
    at(0x244) = 0x02010002;
    if (section.flag("extended_loop", false)) {
      at(0x240) = extended(0x000b, 0x100);
    }
    if (section.flag("all_ones", false)) {
      words_.fill(UINT32_MAX);
    }
  }

  uint32_t read(uint64_t offset) override {
    return at(offset);
  }
  void write(uint64_t offset, uint32_t value) override {
    if (offset >= read_only_end || (at(misc_control) & read_only_writable) != 0) {
      at(offset) = value;
    }
  }

 private:
  uint32_t& at(uint64_t offset) {
    return words_[offset / 4];
  }
  std::array<uint32_t, register_space / 4> words_ = {};
};

}  // namespace

void pcie_controller_attach(Card& card) {
  CardSection section = card.file().section("pcie_controller");
  for (uint64_t i = 0; i < controller_count; ++i) {
    card.memory().attach(first_controller + controller_stride * i, register_space,
                         card.own(std::make_unique<Controller>(section)));
  }
}

}  // namespace vcard
