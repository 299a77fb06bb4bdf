// The reports about a function. Each writes to `out` and reads no more than it shows.
#pragma once

#include <cstdio>

#include "target.h"

// Configuration space and BARs.
void kxpcie_cap_list(FILE* out, kxpcie_target& target);
void kxpcie_ecap_list(FILE* out, kxpcie_target& target);
void kxpcie_cfg_whole(FILE* out, kxpcie_target& target);  ///< dump of all of it
void kxpcie_bar_list(FILE* out, kxpcie_target& target);

// Interrupts.
void kxpcie_msix_dump(FILE* out, kxpcie_target& target);
void kxpcie_msi_dump(FILE* out, kxpcie_target& target);

// Errors.
void kxpcie_aer_dump(FILE* out, kxpcie_target& target);
void kxpcie_dev_status(FILE* out, kxpcie_target& target);

// Link.
void kxpcie_link_status(FILE* out, kxpcie_target& target);
void kxpcie_eq_status(FILE* out, kxpcie_target& target);

// The function itself.
void kxpcie_sriov(FILE* out, kxpcie_target& target);
void kxpcie_power(FILE* out, kxpcie_target& target);
void kxpcie_vpd_dump(FILE* out, kxpcie_target& target);
void kxpcie_smmu(FILE* out, kxpcie_target& target);
