// Handlers of the state table. Each runs on the command's thread in its state, makes its exchange with the card and
// leaves the machine in the next state, in "waiting" or in "failed". Results: 0 or negative.
#pragma once

#include <cstdint>

#include "fw_state.h"

int32_t kxtool_fw_version_get(fw_update* update);
int32_t kxtool_fw_bt_ctrl_get(fw_update* update);
int32_t kxtool_fw_flash_cnt_get(fw_update* update);

int32_t kxtool_fw_data_pack_parsing(fw_update* update);
int32_t kxtool_get_upd_auth_sync(fw_update* update);
int32_t kxtool_kx_pkg_info_send(fw_update* update);
int32_t kxtool_fw_upd_req_send(fw_update* update);
int32_t kxtool_fw_data_sendto_riscv(fw_update* update);
int32_t kxtool_fw_upd_crc_req_send(fw_update* update);
int32_t kxtool_fw_end_req(fw_update* update);

/// After the last image of a part: the next part of the package, or the end of the update.
void fw_part_finish(fw_update* update);

/// Asks the card for its permission to update and what it runs. Returns 0, or -1 with a log line.
int32_t fw_running_ask(fw_update* update, fw_running* running);

/// Milliseconds that the pauses of sending an image take.
uint64_t fw_image_send_ms(const kxtool_device& device, const fw_image& image);

/// Writes the card's flash statistics to the log. Returns 0, or -1 with a log line.
int32_t fw_flash_statistics_log(fw_update* update);
