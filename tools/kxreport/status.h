// What the exit status says: a mask, so that a script needs no parsing.
#pragma once

enum report_status : int {
  STATUS_GOOD = 0,
  STATUS_USAGE = 1,      ///< the words are wrong, or what they name cannot be made
  STATUS_NO_CARD = 2,    ///< there is no card, or none of that name
  STATUS_NO_ANSWER = 4,  ///< a card did not give all answers
  STATUS_HEALTH = 8,     ///< a check of a card is not good, or two bundles differ
  STATUS_LINK = 16,      ///< a PCIe link below its best
  STATUS_ALARM = 32,     ///< a module raises an alarm, or its identity cannot be trusted
  STATUS_OUTPUT = 64,    ///< the result could not be written
  STATUS_SIGNAL = 128,   ///< and the number of the signal: 130 after Ctrl-C
  STATUS_INTERRUPTED = 130,
};
