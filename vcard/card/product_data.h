// Vital product data of the card.
#pragma once

#include "vcard/bytes.h"
#include "vcard/card_file.h"

namespace vcard {

/// Reads the section "product_data"; part and serial number are those of "information" unless it says otherwise.
Bytes product_data_load(CardFile& file);

}  // namespace vcard
