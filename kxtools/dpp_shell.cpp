// dpp_shell [DEVICE]: the debug shell of the network-processor driver on the card to which DEVICE, an interface or a
// PCI address, belongs; without it the user chooses from the list. Device 0 of the driver is that card.
#include <cstdio>
#include <cstring>

#include "common/report.h"
#include "device/bar.h"
#include "dpp_diag/dpp_shell.h"
#include "kx_np/cmd.h"
#include "kx_np/np_init.h"
#include "kxtools/bind.h"

namespace {

constexpr int STATUS_FAILED = 1;
constexpr int STATUS_USAGE = 2;

}  // namespace

int main(int argc, char** argv) {
  const char* device = argc == 2 ? argv[1] : nullptr;
  if (argc > 2 || (device != nullptr && device[0] == '-')) {
    const bool asked = argc == 2 && (strcmp(device, "-h") == 0 || strcmp(device, "--help") == 0);
    kx_print("usage: dpp_shell [DEVICE]\n");
    return kx_exit_status(asked ? 0 : STATUS_USAGE);
  }
  setvbuf(stdin, nullptr, _IONBF, 0);  // the choice of the device leaves the lines behind it to the line editor
  bool quit = false;
  if (kxtools_dev_info_init() != 0 || kxtools_dev_init(device, &quit) != 0) {
    KXTOOLS_ERR("no device is bound\n");
    return STATUS_FAILED;
  }
  if (quit) {
    return 0;
  }
  if (dpp_np_init() != 0 || kxnp_dev_init() != 0) {
    KXTOOLS_ERR("dpp_np_init failed\n");
    return STATUS_FAILED;
  }
  return kx_exit_status(dpp_driver_shell());
}
