// The functions behind the module's words. `cmd_id` is always 1; the parameters are 0 when the line has none. All
// return 0, or -1 with a message, which ends at the dispatcher of this module.
#pragma once

#include <cstdint>

inline constexpr uint32_t BTTL_PATH_MAX = 1;
inline constexpr uint32_t BTTL_PORT_RX = 1;
inline constexpr uint32_t BTTL_PORT_TX = 2;
inline constexpr uint32_t BTTL_QUEUE_MAX = 0xFF;
inline constexpr uint32_t BTTL_POOL_MAX = 3;

// DXGE: param1 is the path, 0 to the network processor and 1 to the queue engine; param2 is the port, bit 0 the receive
// side and bit 1 the transmit side.
int32_t dxge_dump(uint32_t cmd_id, uint32_t path, uint32_t port);    ///< all registers of the sides
int32_t dxge_debug(uint32_t cmd_id, uint32_t path, uint32_t port);   ///< their anomaly counters
int32_t dxge_config(uint32_t cmd_id, uint32_t path, uint32_t port);  ///< their configuration
int32_t dxge_press(uint32_t cmd_id, uint32_t path, uint32_t port);   ///< their back pressure
/// Debug registers of the receive side and its last error code, decoded. The port must name the receive side.
int32_t rx_debug_1(uint32_t cmd_id, uint32_t path, uint32_t port);

// Anomaly counters of one side of the instance at that card address, and what the bits of a receive error code say.
int32_t RdlBttlDxgeTxIsrCnt(uint64_t instance);
int32_t RdlBttlDxgeRxIsrCnt(uint64_t instance);
void RdlBttlDxgeRxErrorcode(uint16_t code);

/// Fill of all queue groups.
int32_t qman_queue_state(uint32_t cmd_id, uint32_t, uint32_t);
/// State of the queues `first` to `last`, 0 to BTTL_QUEUE_MAX.
int32_t qman_state(uint32_t cmd_id, uint32_t first, uint32_t last);
int32_t qman_cfg(uint32_t cmd_id, uint32_t, uint32_t);

/// State of one buffer pool, 0 to BTTL_POOL_MAX.
int32_t bman_state(uint32_t cmd_id, uint32_t pool, uint32_t);
int32_t bman_cfg(uint32_t cmd_id, uint32_t, uint32_t);

int32_t HalLroCfgShow(uint32_t cmd_id, uint32_t, uint32_t);
