// One query of the card: an op code and zeros, answered by a fixed layout.
#pragma once

#include <cstdint>
#include <span>

#include "channel/device.h"

/// Sends the query `op_code` with `payload_len` payload bytes (at least 4) and waits for the answer in `reply`, which
/// is zeroed first. Returns 0 or the result of tarn_tools_send_msg.
int32_t kxtool_info_query(kxtool_device* device, uint32_t op_code, uint16_t payload_len, std::span<uint8_t> reply);
