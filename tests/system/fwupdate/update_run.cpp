#include "update_run.h"

namespace kx_system {

Workplace::Workplace(int package_kind, const std::string& identification)
    : package(folder.path() + "/update.pkg"), kind(package_kind) {
  package_file::file file(package);
  if (kind == 1) {
    package_file::one_partition_put(&file, identification, {{0x41000, 5000, 2}, {0x43000, 2029, 3}});
  } else {
    package_file::whole_flash_put(&file, identification);
  }
}

bool Workplace::flash_holds_package() const {
  return flash.holds_images(kind == 1 ? PARTITION_2 : PARTITION_1, PARTITION_2);
}

std::string Workplace::log() const {
  return Folder::read(folder.path() + "/log/kxtool/kxtool_fw_upd.log");
}

Command Workplace::by_name(const std::string& card) const {
  return {.card = card, .words = {"fwupdate", "eth0", package}, .state = folder.path()};
}

Result Workplace::script(const std::string& text, const std::string& card) const {
  Command command = kx_system::script(text, card);
  command.state = folder.path();
  return run(command);
}

Command Workplace::with_next(const std::string& device, const std::string& card) const {
  return {.card = card,
          .input = "0\nsu opsu\n" + line(device) + "kxtool fwupdate " + device + " part\nquit\n",
          .state = folder.path()};
}

Command Workplace::by_address(const std::string& card, bool super_user) const {
  return {.card = card,
          .input = std::string("0\n") + (super_user ? "su opsu\n" : "") + line(ADDRESS) + "quit\n",
          .state = folder.path()};
}

}  // namespace kx_system
