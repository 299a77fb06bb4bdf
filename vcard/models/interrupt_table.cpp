// The MSI-X table and the pending bits, as the host's driver has left them.

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

constexpr uint32_t entry_size = 16;
constexpr uint32_t message_address = 0xfee00000;
constexpr uint32_t first_message = 0x4000;

void bits_set(const std::vector<uint64_t>& vectors, Storage& bar) {
  for (uint64_t vector : vectors) {
    uint32_t place = msix_pending + static_cast<uint32_t>(vector / 32 * 4);
    bar.write32(place, bar.read32(place) | 1u << (vector % 32));
  }
}

}  // namespace

void interrupt_table_attach(Card& card) {
  CardSection section = card.file().section("interrupts");
  std::vector<uint64_t> masked = section.numbers("masked", {}, msix_vectors - 1);
  std::vector<uint64_t> pending = section.numbers("pending", {}, msix_vectors - 1);
  card.on_create([&card, masked, pending] {
    Storage& bar = card.bar0();
    for (uint32_t vector = 0; vector < msix_vectors; ++vector) {
      uint32_t entry = msix_table + vector * entry_size;
      bar.write32(entry, message_address);
      bar.write32(entry + 8, first_message + vector);
    }
    for (uint64_t vector : masked) {
      bar.write32(msix_table + static_cast<uint32_t>(vector) * entry_size + 12, 1);
    }
    bits_set(pending, bar);
  });
}

}  // namespace vcard
