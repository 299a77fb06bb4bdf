// The module's part of the command tree, assembled at start-up from the static lists.
#pragma once

#include "kxtools/cmd.h"

/// The entry of the group to which an item's entry belongs; null for commands in no group.
const kxtools_cmd_entry* vqm_cmd_group_of(const kxtools_cmd_entry* item);
