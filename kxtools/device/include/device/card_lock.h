// The lock of a whole card, for all its functions and however a command named one: what needs the card's notices, its
// mailbox or a reset takes the card alone, what only asks shares it. It ends with its process.
#pragma once

#include <string>

#include "common/unique_fd.h"
#include "device/address.h"

enum class kxtools_card_use : uint8_t {
  shared,  ///< beside others that share it
  alone,
};

/// Which card a function is on, as the lock names it: the address of the outermost port of the card's own switch above
/// the function; without one its segment and bus, which the functions of one slot share.
std::string kxtools_card_name(kxtools_sbdf sbdf);

/// Takes the lock of the function's card, waiting up to a minute each for those who wait to have it alone and for those
/// who have it; nobody is passed over by others that share it. The lock is held until the descriptor is closed; at most
/// one in a process. -1 with a line on standard error.
kx_unique_fd kxtools_card_lock(kxtools_sbdf sbdf, kxtools_card_use use);
