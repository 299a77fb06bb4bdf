// The kxtrace_app module: traffic-generator status, and packet and bit rates of the VQM, DTP and NP paths.
#pragma once

#include <cstdint>

/// Registers the module's commands (module id 4). Returns 0 or -1.
int32_t kxtrace_app_cmd_init();
