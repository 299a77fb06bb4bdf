// The text of a card file, which may stand alone or as a member of an archive.
#pragma once

#include <string>
#include <string_view>

namespace vcard {

/// The card file in `bytes`: of a tar archive its member "card.json", else all of them. Of an archive nothing else is
/// looked at, and nothing of it reaches the file system. Returns "" or why there is none.
std::string card_text_find(std::string_view bytes, std::string& text);

}  // namespace vcard
