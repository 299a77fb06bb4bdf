// Notices that the card file scripts, so that a tool can be shown any bytes: each goes out some time after a tool
// attached.

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

void scripted_notices_attach(Card& card) {
  for (const CardSection& entry : card.file().root().sections("notices")) {
    std::chrono::milliseconds delay(entry.number("after_ms", 0, 3600000));
    uint16_t event_id = static_cast<uint16_t>(entry.number("event_id", general_event, UINT16_MAX));
    Bytes payload = entry.bytes("payload", {});
    card.processor().on_attach([&card, delay, event_id, payload] {
      card.schedule(delay, [&card, event_id, payload] { card.processor().notify(event_id, payload); });
    });
  }
}

}  // namespace vcard
