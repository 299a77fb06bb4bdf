// Commands of the driver table, run by name on the virtual card's network processor.
#pragma once

#include <gmock/gmock.h>

#include "../diag/command.h"
#include "../reg/card_device.h"

using diag_test::command;
using diag_test::run_result;
using diag_test::text;
using testing::HasSubstr;
using testing::Not;

using CommandsOnCard = OnVirtualCard;
