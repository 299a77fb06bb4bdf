// The modules of this build; the framework itself knows none.
#pragma once

#include <cstdint>

/// Hands the framework what it needs of the modules and registers the command table of every module but kxtool. Stops
/// at the first failure. Returns 0 or -1.
int32_t kxtools_module_cmd_init();
