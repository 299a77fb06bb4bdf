// Ctrl-C and other signals that end a process only raise a flag, and the update ends where the flash can be described.
#pragma once

/// Catches them from now on; none is raised yet. A reader of the output that goes away ends nothing.
void fw_interrupt_install();
bool fw_interrupt_is_raised();
