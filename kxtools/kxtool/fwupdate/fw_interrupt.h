// Ctrl-C: the signal only raises a flag, and the update ends where the flash can be described.
#pragma once

/// Catches the interrupt from now on; none is raised yet.
void fw_interrupt_install();
bool fw_interrupt_is_raised();
