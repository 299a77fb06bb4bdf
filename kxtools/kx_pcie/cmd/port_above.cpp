#include "port_above.h"

#include <unistd.h>

#include <cstdio>
#include <string>

bool kxpcie_port_above(kxtools_sbdf function, kxtools_sbdf* port) {
  char name[13];
  char path[64];
  char target[512];
  kxtools_sbdf_text(function, name);
  snprintf(path, sizeof path, "%s/%s", KXTOOLS_PCI_DEVICES, name);
  const ssize_t length = readlink(path, target, sizeof target);
  if (length <= 0) {
    return false;
  }
  // ".../0000:3a:00.0/0000:3b:00.0"
  const std::string place(target, static_cast<size_t>(length));
  const size_t last = place.rfind('/');
  if (last == std::string::npos || last == 0) {
    return false;
  }
  const size_t above = place.rfind('/', last - 1);
  const size_t start = above == std::string::npos ? 0 : above + 1;
  return pcie_sbdf_parse(port, place.substr(start, last - start).c_str()) == 0;
}
