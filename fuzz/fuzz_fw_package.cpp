// Package reader: any bytes at any of the places where a header can lie. What the reader accepts it must be able to
// read from inside the file.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "fwupdate/package.h"

namespace {

constexpr uint64_t PLACES[] = {0, FW_BASE_KIND_1, FW_BASE_PART_A, FW_BASE_PART_B};
constexpr uint64_t TAIL_UNIT = 1021;  // the file goes on behind the fuzzed bytes by up to 255 of these

void require(bool condition) {
  if (!condition) {
    abort();
  }
}

void read_images(const fw_package& package, const fw_header& header) {
  const std::vector<fw_fault> faults = fw_table_check(package, header);
  for (uint32_t i = 0; i < header.table().size(); ++i) {
    const fw_image& image = header.images[i];
    bool whole = true;
    for (const fw_fault& fault : faults) {
      whole = whole && !(fault.image == i && fault.reason == fw_fault_reason::beyond_file);
    }
    uint8_t piece[16];
    const bool read = fw_image_read(package, header, image, image.size < 16 ? 0 : image.size - 16, piece) == 0;
    require(read == whole || !image.is_written());
    require(!whole || !image.is_written() || fw_image_position(header, image) + image.size <= package.size);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) {
    return 0;
  }
  const uint64_t place = PLACES[data[0] % 4];
  const uint64_t tail = data[1] * TAIL_UNIT;
  data += 2;
  size -= 2;
  const kx_unique_fd file(memfd_create("package", MFD_CLOEXEC));
  require(pwrite(file.get(), data, size, static_cast<off_t>(place)) == static_cast<ssize_t>(size));
  require(ftruncate(file.get(), static_cast<off_t>(place + size + tail)) == 0);
  fw_package package;
  require(fw_package_open(("/proc/self/fd/" + std::to_string(file.get())).c_str(), &package) == fw_open_result::opened);
  fw_package_boot_stage_check(package);
  for (const fw_package_part part : {FW_PART_A, FW_PART_B}) {
    fw_header header;
    if (fw_package_header_read(package, part, &header) == 0) {
      fw_board_type type;
      fw_board_type_of_identification(header.identification(), &type);
      fw_text_printable(header.identification());
      read_images(package, header);
    }
  }
  return 0;
}
