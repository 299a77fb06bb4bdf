#include "vcard/models.h"

#include "vcard/card.h"

namespace vcard {

void models_attach(Card& card) {
  information_attach(card);
  firmware_update_attach(card);
  scripted_notices_attach(card);
  queue_engine_attach(card);
  packet_engine_attach(card);
  traffic_attach(card);
  pcie_controller_attach(card);
  pci_registers_attach(card);
  lane_margining_attach(card);
  interrupt_table_attach(card);
  table_queues_attach(card, network_processor_attach(card));
  // Behind all models, so that the card file has the last word.
  memory_words_attach(card);
}

}  // namespace vcard
