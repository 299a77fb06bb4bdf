// Functions of the driver that are commands as they are: their headers say what they do.
#pragma once

#include "dpp_chip/dpp_debug.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_dtb/dpp_dtb_cfg.h"
#include "dpp_dtb/dpp_dtb_mem.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_print.h"
