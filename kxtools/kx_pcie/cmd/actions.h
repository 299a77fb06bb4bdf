// Commands that take words or change something. Each prints to standard output and returns 0, or negative with a
// message.
#pragma once

#include "command.h"

// Card memory.
int32_t kxpcie_devmem(kxtools_sbdf sbdf, kxpcie_words words);        ///< address, number of words
int32_t kxpcie_devmem_write(kxtools_sbdf sbdf, kxpcie_words words);  ///< address, value, mask
int32_t kxpcie_addr_dump(kxtools_sbdf sbdf, kxpcie_words words);     ///< address, bytes, file
int32_t kxpcie_dbi_read(kxtools_sbdf sbdf, kxpcie_words words);      ///< controller, offset, number of words
int32_t kxpcie_csr_read(kxtools_sbdf sbdf, kxpcie_words words);      ///< controller, offset, number of words
int32_t kxpcie_tunnel_mode(kxtools_sbdf sbdf, kxpcie_words words);   ///< access or secure, value

// Configuration space.
int32_t kxpcie_cfg_read(kxtools_sbdf sbdf, kxpcie_words words);   ///< offset, width in bytes
int32_t kxpcie_cfg_write(kxtools_sbdf sbdf, kxpcie_words words);  ///< offset, value, width in bytes
int32_t kxpcie_cfg_dump(kxtools_sbdf sbdf, kxpcie_words words);   ///< offset, bytes

// BARs.
int32_t kxpcie_bar_read(kxtools_sbdf sbdf, kxpcie_words words);   ///< BAR, offset, number of words
int32_t kxpcie_bar_write(kxtools_sbdf sbdf, kxpcie_words words);  ///< BAR, offset, value
int32_t kxpcie_bar_dump(kxtools_sbdf sbdf, kxpcie_words words);   ///< BAR, offset, bytes, file

/// Clears the error status bits of AER and of the device status. Masks and severities stay.
int32_t kxpcie_aer_clear(kxtools_sbdf sbdf, kxpcie_words words);
/// Has the port above the function train the link anew.
int32_t kxpcie_retrain(kxtools_sbdf sbdf, kxpcie_words words);
/// Margins the card's receivers: lane or "all", milliseconds a step.
int32_t kxpcie_margin(kxtools_sbdf sbdf, kxpcie_words words);
/// Margins one lane and draws its eye: lane, milliseconds a step.
int32_t kxpcie_eye(kxtools_sbdf sbdf, kxpcie_words words);
/// Resets the function; its address is the word.
int32_t kxpcie_flr(kxtools_sbdf sbdf, kxpcie_words words);
/// All reports and the whole configuration space into a file.
int32_t kxpcie_black_box(kxtools_sbdf sbdf, kxpcie_words words);
