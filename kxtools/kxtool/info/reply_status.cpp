#include "reply_status.h"

#include <iterator>

namespace {

// Of the status -1, -2 and so on.
constexpr const char* STATUS_TEXTS[] = {
    " VPD get failed from JSON!",
    " VPD initialize failed from flash!",
    " SN length error!",
    " SN data error!",
    " No vpd info, please burn SN first!",
    " FLASH get deveice error!",
    " FALSH read error!",
    " FALSH write error!",
    " PN length error!",
    " PN data error!",
};

}  // namespace

const char* kxtool_reply_status_text(int8_t status) {
  const size_t index = static_cast<size_t>(-1 - status);
  return index < std::size(STATUS_TEXTS) ? STATUS_TEXTS[index] : " Other error!";
}
