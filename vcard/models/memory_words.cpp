// Words of card memory that the card file sets, whatever they belong to: "memory": {"0x6208000010": 5}.

#include <cerrno>
#include <cstdlib>

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

void memory_words_attach(Card& card) {
  CardSection section = card.file().section("memory");
  for (const std::string& key : section.keys()) {
    char* rest = nullptr;
    errno = 0;
    uint64_t address = strtoull(key.c_str(), &rest, 0);
    if (rest == key.c_str() || *rest != '\0' || errno != 0 || address % 4 != 0) {
      section.complain(key, "not the address of a 32-bit word");
      continue;
    }
    card.memory().poke(address, static_cast<uint32_t>(section.number(key.c_str(), 0, UINT32_MAX)));
  }
}

}  // namespace vcard
