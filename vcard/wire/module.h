// The EEPROM of a pluggable module, written from the module's side: SFP (256 bytes of identity, 256 of monitors),
// QSFP (256 bytes with the upper page 0) and CMIS modules (256 bytes with the upper page 0).
#pragma once

#include "vcard/bytes.h"
#include "vcard/card_file.h"

namespace vcard {

struct Module {
  int error = 0;        // errno of every question about the module; ENXIO when none is plugged in
  uint32_t type = 0;    // layout as ethtool numbers it
  uint32_t length = 0;  // length of the EEPROM as the driver tells it
  Bytes eeprom;
  uint64_t answer_max = 0;  // no answer is longer
};

/// The module that `section` describes.
Module module_load(const CardSection& section);

}  // namespace vcard
