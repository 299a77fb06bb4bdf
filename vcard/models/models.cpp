#include "vcard/models.h"

#include "vcard/card.h"

namespace vcard {

void models_attach(Card& card) {
  information_attach(card);
  firmware_update_attach(card);
  scripted_notices_attach(card);
}

}  // namespace vcard
