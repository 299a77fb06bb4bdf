// The models of the card, one attach function each. A model registers its request handlers, claims its card addresses,
// reads its section of the card file and keeps itself alive with Card::own.
#pragma once

namespace vcard {

class Card;
class NetworkProcessor;
class NpTables;

/// Attaches every model; the list stands in models.cpp.
void models_attach(Card& card);

/// Identity and state of the card: general requests 0, 9, 15, 18 and 21, the BAR offset request, compatibility records
/// and feature word in BAR 0.
void information_attach(Card& card);
/// Firmware update: event 27 and the flash behind it.
void firmware_update_attach(Card& card);
/// Notices that the card file scripts: sent after a tool has attached.
void scripted_notices_attach(Card& card);
/// Registers and counters of the virtio queue engine.
void queue_engine_attach(Card& card);
/// DXGE instances, buffer manager, queue manager, large-receive offload.
void packet_engine_attach(Card& card);
/// Traffic generators and port counters.
void traffic_attach(Card& card);
/// Register spaces of the PCIe endpoint controllers.
void pcie_controller_attach(Card& card);
/// Error status, function-level reset and retraining in the configuration spaces.
void pci_registers_attach(Card& card);
/// The receiver's end of lane margining.
void lane_margining_attach(Card& card);
/// MSI-X table and pending bits in BAR 0.
void interrupt_table_attach(Card& card);
/// Registers and table memories of the network processor. The models behind it (the queue engine) hook into what it
/// returns, which lives as long as the card.
NetworkProcessor& network_processor_attach(Card& card);
/// The table memories of the network processor.
NpTables& network_processor_tables(NetworkProcessor& processor);
/// The queue engine behind the network processor's doorbells: executes table commands from host memory.
void table_queues_attach(Card& card, NetworkProcessor& processor);
/// Words of card memory that the card file sets.
void memory_words_attach(Card& card);

}  // namespace vcard
