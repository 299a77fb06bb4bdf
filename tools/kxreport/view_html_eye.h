// The eye of a lane as a drawing.
#pragma once

#include <cstdio>
#include <string>

#include "value.h"

/// Draws a group of the term `eye`, whose name is escaped.
void eye_print(const value& lane, const std::string& name, FILE* out);
