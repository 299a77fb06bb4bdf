// The one line that long work redraws on the terminal. Whatever else is printed (report.h) takes it away first.
#pragma once

#include <cstddef>

/// True when there is a terminal to show it on: standard error, else standard output.
bool kx_status_possible();

/// Columns that the line may fill; SIZE_MAX when the terminal does not tell. The user may change it at any time.
size_t kx_status_width();

/// Shows `text`, which has no control characters, in place of what was shown, cut to the terminal's width: a line that
/// wraps would scroll the terminal at every redraw. Nothing without a terminal. Any thread may show and clear.
void kx_status_show(const char* text);

/// Takes a shown line away; the next kx_status_show brings it back. In front of every other line on the terminal.
void kx_status_clear();
