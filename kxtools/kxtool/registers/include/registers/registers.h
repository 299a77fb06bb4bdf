// Commands over the registers of the card's units: handlers of the command table. All reach card memory through the
// function of the interface, stop at the first value that cannot be read, and end with 130 when interrupted.
#pragma once

#include <span>

#include "kxtools/unit.h"
#include "startup/cmd_ctx.h"

/// The units that the commands know, in the order of their output; set by the program entry before any command runs.
void kxtool_units_set(std::span<const kxtools_unit* const> units);
std::span<const kxtools_unit* const> kxtool_units_get();

/// The PCIe function as a unit: checks of its configuration space, and the configuration spaces of the card's endpoint
/// controllers, 4 KiB each, as its address space.
extern const kxtools_unit kxtool_pcie_unit;

/// "diag {all|vqm|pcie|np|pcsmac}": 0 when all checks are good, else 1 with a verdict.
int kxtool_diag(kxtool_cmd_ctx* ctx);
extern const char kxtool_diag_usage[];

/// "stat {all|vqm|np|pcsmac}".
int kxtool_stat(kxtool_cmd_ctx* ctx);
extern const char kxtool_stat_usage[];

/// "regsdump all --file PATH": the file gets its name when it is complete.
int kxtool_regsdump(kxtool_cmd_ctx* ctx);
extern const char kxtool_regsdump_usage[];

/// "regsmem|devmem UNIT addr ADDRESS [len BYTES|val VALUE]".
int kxtool_devmem(kxtool_cmd_ctx* ctx);
extern const char kxtool_devmem_usage[];
