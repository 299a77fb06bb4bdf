#include "channel/device.h"

kxtool_access_mode kxtool_bdf_or_nic_type(const char* word) {
  uint32_t colons = 0;
  uint32_t dots = 0;
  for (const char* c = word; *c != '\0'; ++c) {
    colons += *c == ':';
    dots += *c == '.';
  }
  if (colons == 2 && dots == 1) {
    return KXTOOL_ACCESS_BDF;
  }
  return colons == 0 && dots == 0 && word[0] != '\0' ? KXTOOL_ACCESS_NIC : KXTOOL_ACCESS_NONE;
}
