#include "reply_status.h"

namespace {

struct status_text {
  int8_t status;
  const char* text;
};

constexpr status_text STATUS_TEXTS[] = {
    {-10, " PN data error!"},
    {-9, " PN length error!"},
    {-8, " FALSH write error!"},
    {-7, " FALSH read error!"},
    {-6, " FLASH get deveice error!"},
    {-5, " No vpd info, please burn SN first!"},
    {-4, " SN data error!"},
    {-3, " SN length error!"},
    {-2, " VPD initialize failed from flash!"},
    {-1, " VPD get failed from JSON!"},
};

}  // namespace

const char* kxtool_reply_status_text(int8_t status) {
  for (const status_text& row : STATUS_TEXTS) {
    if (row.status == status) {
      return row.text;
    }
  }
  return " Other error!";
}
