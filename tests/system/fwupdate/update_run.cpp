#include "update_run.h"

#include <fstream>

#include "../../kxtool/fwupdate/package_file.h"

namespace update_run {

using package_file::header;

namespace {

const bytes IMAGE_A = package_file::pattern(5000);
const bytes IMAGE_B = package_file::pattern(2029, 7);

void put(std::ofstream& file, uint64_t position, const bytes& data) {
  file.seekp(static_cast<std::streamoff>(position));
  file.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
}

}  // namespace

Workplace::Workplace(int package_kind, const std::string& identification)
    : package(folder.path() + "/update.pkg"), kind(package_kind) {
  std::ofstream file(package, std::ios::binary);
  if (kind == 1) {
    put(file, 256, header(identification, {{0x41000, 5000, 2}, {0x43000, 2029, 3}}));
    put(file, 256 + 0x1000, IMAGE_A);
    put(file, 256 + 0x3000, IMAGE_B);
  } else {
    put(file, PARTITION_1, header(identification, {{0x41000, 5000, 2}}));
    put(file, PARTITION_2, header(identification, {{0x3303000, 2029, 2}}));
    put(file, 0x41000, IMAGE_A);
    put(file, 0x3303000, IMAGE_B);
  }
}

bytes Workplace::flash(uint64_t address, size_t length) const {
  bytes out(length);
  std::ifstream file(folder.path() + "/flash", std::ios::binary);
  file.seekg(static_cast<std::streamoff>(address));
  file.read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(length));
  return file ? out : bytes();
}

bool Workplace::flash_holds_package() const {
  const uint64_t place_a = kind == 1 ? PARTITION_2 + 0x1000 : 0x41000;
  return flash(place_a, IMAGE_A.size()) == IMAGE_A && flash(PARTITION_2 + 0x3000, IMAGE_B.size()) == IMAGE_B;
}

std::string Workplace::log() const {
  return kx_system::Folder::read(folder.path() + "/log/kxtool/kxtool_fw_upd.log");
}

kx_system::Command Workplace::by_name(const std::string& card, const std::string& word) const {
  return {.card = card, .words = {"fwupdate", "eth0", word.empty() ? package : word}, .state = folder.path()};
}

kx_system::Result Workplace::script(const std::string& text, const std::string& card) const {
  kx_system::Command command = kx_system::script(text, card);
  command.state = folder.path();
  return kx_system::run(command);
}

kx_system::Command Workplace::with_next(const std::string& device, const std::string& card) const {
  return {.card = card,
          .input = "0\nsu opsu\n" + line(device) + "kxtool fwupdate " + device + " part\nquit\n",
          .state = folder.path()};
}

kx_system::Command Workplace::by_address(const std::string& card, bool super_user) const {
  return {.card = card,
          .input = std::string("0\n") + (super_user ? "su opsu\n" : "") + line(ADDRESS) + "quit\n",
          .state = folder.path()};
}

}  // namespace update_run
