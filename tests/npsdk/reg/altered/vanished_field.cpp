// The driver's code where a field that it names is gone: it must not compile.
#include "dpp_reg/dpp_reg_types.h"
#define tm_busy tm_busy_of_an_older_sheet
#include "stat_tm.cpp"
