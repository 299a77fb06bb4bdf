// Packet counts of the ports (0 to 30). 0x1205 for a device or port out of range, 0x1201 for a null pointer, or the
// code of the failed access.
#pragma once

#include <cstdint>

/// Panel ports, RDMA, VQM, DTP and DRS; the numbers between them have no port.
inline constexpr uint32_t DPP_TRPG_USED_PORTS[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 24, 25, 26};

#include "dpp_chip/dpp_dev.h"

/// Packets that the port has received or sent since the card started; reading does not clear.
uint32_t dpp_trpg_rx_port_pkt_num_get(uint32_t dev_id, uint32_t port, uint64_t* num);
uint32_t dpp_trpg_tx_port_pkt_num_get(uint32_t dev_id, uint32_t port, uint64_t* num);
