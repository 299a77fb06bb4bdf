// Accesses card memory of the virtual card's first function as the words say:
//   MODE SECURE {r ADDRESS | w ADDRESS VALUE | d CONTROLLER OFFSET}...
// and prints one line per access: its result, and the value of a read.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "kx_pcie/bind.h"
#include "kx_pcie/controller_space.h"
#include "kx_pcie/tunnel.h"
#include "kxtools/compat.h"
#include "kxtools/dev.h"

int main(int, char** words) {
  const kxtools_dev_pcie_ops ops = {bind_pcie_dev_help, get_sbdf_by_node_id, bind_pcie_dev_by_sbdf};
  kxtools_dev_pcie_ops_set(&ops);
  kxtools_sbdf sbdf = 0;
  if (kxtools_dev_name2bdf("0000:3b:00.0", &sbdf) != 0 || kxtools_dev_bind(sbdf) != 0) {
    return 2;
  }
  set_wr_mode(static_cast<uint32_t>(atoi(words[1])));
  set_secure_mode(static_cast<uint32_t>(atoi(words[2])));
  for (char** word = words + 3; *word != nullptr;) {
    const std::string_view what = *word++;
    const uint64_t address = strtoull(*word++, nullptr, 0);
    uint32_t value = 0;
    if (what == "r") {
      const int32_t result = read_val_from_kx(address, &value);
      printf("%d 0x%x\n", result, value);
    } else if (what == "w") {
      printf("%d\n", write_val_to_kx(address, static_cast<uint32_t>(strtoul(*word++, nullptr, 0))));
    } else {
      const uint32_t offset = static_cast<uint32_t>(strtoul(*word++, nullptr, 0));
      const int32_t result = pcie_dbi_read(static_cast<uint32_t>(address), offset, &value);
      printf("%d 0x%x\n", result, value);
    }
    fflush(stdout);
  }
  return 0;
}
