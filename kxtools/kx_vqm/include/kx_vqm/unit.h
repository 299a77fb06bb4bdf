// The queue engine as a unit of the maintenance commands.
#pragma once

#include "kxtools/unit.h"

extern const kxtools_unit kxvqm_unit;
