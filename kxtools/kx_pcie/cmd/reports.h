// The reports about a function. Each writes to `out` and reads no more than it shows. Returns 0, or -1 with a message,
// which goes to standard output.
#pragma once

#include <cstdint>
#include <cstdio>

#include "device/address.h"

// Configuration space and BARs.
int32_t kxpcie_cap_list(FILE* out, kxtools_sbdf sbdf);
int32_t kxpcie_ecap_list(FILE* out, kxtools_sbdf sbdf);
int32_t kxpcie_cfg_whole(FILE* out, kxtools_sbdf sbdf);  ///< dump of all of it
int32_t kxpcie_bar_list(FILE* out, kxtools_sbdf sbdf);

// Interrupts.
int32_t kxpcie_msix_dump(FILE* out, kxtools_sbdf sbdf);
int32_t kxpcie_msi_dump(FILE* out, kxtools_sbdf sbdf);

// Errors.
int32_t kxpcie_aer_dump(FILE* out, kxtools_sbdf sbdf);
int32_t kxpcie_dev_status(FILE* out, kxtools_sbdf sbdf);

// Link.
int32_t kxpcie_link_status(FILE* out, kxtools_sbdf sbdf);
int32_t kxpcie_eq_status(FILE* out, kxtools_sbdf sbdf);

// The function itself.
int32_t kxpcie_sriov(FILE* out, kxtools_sbdf sbdf);
int32_t kxpcie_power(FILE* out, kxtools_sbdf sbdf);
int32_t kxpcie_vpd_dump(FILE* out, kxtools_sbdf sbdf);
int32_t kxpcie_smmu(FILE* out, kxtools_sbdf sbdf);
