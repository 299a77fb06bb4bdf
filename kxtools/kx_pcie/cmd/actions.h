// Commands that take words or change something. Each prints to standard output; what goes wrong stays in the target.
#pragma once

#include "command.h"

// Card memory.
void kxpcie_devmem(kxpcie_target& target, kxpcie_words words);        ///< address, number of words
void kxpcie_devmem_write(kxpcie_target& target, kxpcie_words words);  ///< address, value, mask
void kxpcie_addr_dump(kxpcie_target& target, kxpcie_words words);     ///< address, bytes, file
void kxpcie_dbi_read(kxpcie_target& target, kxpcie_words words);      ///< controller, offset, number of words
void kxpcie_csr_read(kxpcie_target& target, kxpcie_words words);      ///< controller, offset, number of words
void kxpcie_tunnel_mode(kxpcie_target& target, kxpcie_words words);   ///< access or secure, value

// Configuration space.
void kxpcie_cfg_read(kxpcie_target& target, kxpcie_words words);   ///< offset, width in bytes
void kxpcie_cfg_write(kxpcie_target& target, kxpcie_words words);  ///< offset, value, width in bytes
void kxpcie_cfg_dump(kxpcie_target& target, kxpcie_words words);   ///< offset, bytes

// BARs.
void kxpcie_bar_read(kxpcie_target& target, kxpcie_words words);   ///< BAR, offset, number of words
void kxpcie_bar_write(kxpcie_target& target, kxpcie_words words);  ///< BAR, offset, value
void kxpcie_bar_dump(kxpcie_target& target, kxpcie_words words);   ///< BAR, offset, bytes, file

/// Clears the error status bits of AER and of the device status. Masks and severities stay.
void kxpcie_aer_clear(kxpcie_target& target, kxpcie_words words);
/// Has the port above the function train the link anew.
void kxpcie_retrain(kxpcie_target& target, kxpcie_words words);
/// Margins the card's receivers: lane or "all", milliseconds a step.
void kxpcie_margin(kxpcie_target& target, kxpcie_words words);
/// Margins one lane and draws its eye: lane, milliseconds a step.
void kxpcie_eye(kxpcie_target& target, kxpcie_words words);
/// Resets the function; its address is the word.
void kxpcie_flr(kxpcie_target& target, kxpcie_words words);
/// All reports and the whole configuration space into a file.
void kxpcie_black_box(kxpcie_target& target, kxpcie_words words);
