// Anomaly counters and error codes of a DXGE instance.
#pragma once

#include <cstdint>

/// Print the counters of one side of the instance at that card address. Return 0, or -1 with a message.
int32_t RdlBttlDxgeTxIsrCnt(uint64_t instance);
int32_t RdlBttlDxgeRxIsrCnt(uint64_t instance);

/// Prints what the bits of a receive error code say.
void RdlBttlDxgeRxErrorcode(uint16_t code);
