// The command functions of the module. All get the card address of the engine's registers, the words of the line from
// the command words on, and their count; wrong words print a line and the help.
#pragma once

#include <cstdint>

#include "common/register_description.h"

// Identity.
void glb_print_version(uint64_t base, char** words, uint32_t count);
void glb_print_date(uint64_t base, char** words, uint32_t count);

/// Counters of one virtual function, or of all: "vf" and "cnt vf".
void two_stage_vf_stat(uint64_t base, char** words, uint32_t count);

/// Shows the command's registers of the description; an array wants its index. Registers that can be set take one value
/// each behind it, all or none. Registers that clear something are written.
void vqm_registers_run(uint64_t base, char** words, uint32_t count);

/// Shows the registers of all lists of the command.
void vqm_summary_show(uint64_t base, char** words, uint32_t count);
/// Shows every register of the engine that is in no array.
void vqm_all_show(uint64_t base, char** words, uint32_t count);
/// Tells which of the error and alarm registers are not 0.
void vqm_check(uint64_t base, char** words, uint32_t count);
/// Clears every counter that can be cleared.
void vqm_clear(uint64_t base, char** words, uint32_t count);

/// "debug" show, open, close.
void vqm_debug(uint64_t base, char** words, uint32_t count);
/// "vqm_print_zero" 0, 1.
void vqm_print_zero(uint64_t base, char** words, uint32_t count);

/// Chooses the function whose mailbox "send_ovs_msg" uses.
void barchan_bind_bdf(uint64_t base, char** words, uint32_t count);
/// Sends a message to the card's virtual switch through the mailbox and prints the reply.
void barchan_send_ovs_msg(uint64_t base, char** words, uint32_t count);

/// Prints title and fields of a register as the card holds it.
void vqm_register_show(const kx_register_description& row, uint64_t index);
