#include "fw_plan.h"

#include <cinttypes>
#include <cstdio>

#include "common/plural.h"
#include "fw_handlers.h"
#include "fw_tell.h"
#include "fwupdate/package_check.h"
#include "fwupdate/package_digest.h"
#include "info/serial_number.h"

namespace {

constexpr int EXIT_REFUSED = 5;
constexpr int EXIT_FAILED = 7;

const char* package_path(const fw_update& update) {
  return update.path == nullptr ? "" : update.path;
}

const char* board_type(const fw_update& update) {
  return update.board_type[0] == '\0' ? "not told" : update.board_type.data();
}

bool is_whole_flash(const fw_update& update) {
  return update.package.kind == FW_KIND_WHOLE_FLASH;
}

// "partition 2", or both.
const char* target_text(const fw_update& update) {
  if (is_whole_flash(update)) {
    return "both partitions";
  }
  return update.running.partition == 1 ? "partition 2" : "partition 1";
}

// What is written of one part.
struct part_sums {
  uint32_t images = 0;
  uint64_t bytes = 0;
  uint64_t milliseconds = 0;  ///< of the tool's own pauses
};

part_sums part_sum(const fw_update& update, const fw_header& header) {
  part_sums sums;
  for (const fw_image& image : header.table()) {
    if (image.is_written()) {
      ++sums.images;
      sums.bytes += fw_image_sent_size(image);
      sums.milliseconds += fw_image_send_ms(*update.device, image);
    }
  }
  return sums;
}

template <typename Action>
void for_each_part(const fw_package& package, const Action& action) {
  fw_header header;
  for (const fw_package_part part : {FW_PART_A, FW_PART_B}) {
    if ((part == FW_PART_A || package.kind == FW_KIND_WHOLE_FLASH) &&
        fw_package_header_read(package, part, &header) == 0) {
      action(part, header);
    }
  }
}

part_sums package_sum(const fw_update& update) {
  part_sums whole;
  for_each_part(update.package, [&](fw_package_part, const fw_header& header) {
    const part_sums part = part_sum(update, header);
    whole.images += part.images;
    whole.bytes += part.bytes;
    whole.milliseconds += part.milliseconds;
  });
  return whole;
}

void sums_tell(const fw_package& package) {
  for_each_part(package, [&](fw_package_part part, const fw_header& header) {
    uint32_t sum = 0;
    if (fw_header_sum(package, header, &sum) == 0 && sum != header.checksum) {
      fw_tell(
          kx_text("part %c of the package says the sum 0x%08x, its bytes have 0x%08x: damaged, or another tool's sum",
                  part == FW_PART_A ? 'A' : 'B', header.checksum, sum));
    }
  });
}

std::array<char, FW_IDENTIFICATION_SIZE + 1> identification_text(const fw_update& update) {
  fw_header header;
  fw_package_header_read(update.package, FW_PART_A, &header);
  return fw_text_printable(header.identification());
}

void print_card(const fw_update& update, bool answered) {
  kxtool_device* device = update.device;
  kxtool_serial_number serial = {};
  const char* serial_text = kxtool_serial_number_ask(device, &serial) == 0 && serial.status == 0 ? serial.text : "";
  printf("card\n");
  if (device->interface != nullptr) {
    printf("  interface       %s\n", device->interface);
  }
  printf("  address         %s\n", device->sbdf_text);
  printf("  serial number   %s\n", serial_text[0] == '\0' ? "not told" : serial_text);
  printf("  board type      %s\n", fw_text_printable(board_type(update)).data());
  if (answered) {
    printf("  runs            %s from partition %u\n", update.running.version.data(), update.running.partition);
  } else {
    printf("  runs            not told\n");
  }
}

void print_part(const fw_update& update, fw_package_part part, const fw_header& header) {
  const char letter = part == FW_PART_A ? 'A' : 'B';
  uint32_t sum = 0;
  const bool summed = fw_header_sum(update.package, header, &sum) == 0;
  printf("  part %c          %s, header sum 0x%08x%s\n", letter, fw_text_printable(header.identification()).data(),
         header.checksum, summed && sum == header.checksum ? "" : " (its bytes have another)");
  for (uint32_t i = 0; i < header.table().size(); ++i) {
    const fw_image& image = header.images[i];
    printf("    image %-2u      %10u bytes at flash offset 0x%08x of device %u%s\n", i, image.size, image.flash_offset,
           image.type, image.is_written() ? "" : " (not written)");
  }
}

void print_package(const fw_update& update) {
  printf("package\n");
  printf("  file            %s\n", package_path(update));
  printf("  size            %" PRIu64 " byte%s\n", update.package.size, kx_plural(update.package.size));
  printf("  SHA-256         %s\n", fw_sha256_text(update.sha256).c_str());
  printf("  kind            %u (%s)\n", update.package.kind,
         update.package.kind == FW_KIND_NONE ? "none"
         : is_whole_flash(update)            ? "the whole flash"
                                             : "one partition");
  for_each_part(update.package,
                [&](fw_package_part part, const fw_header& header) { print_part(update, part, header); });
}

// Everything that would refuse the update, in the order in which it would find it.
class refusals {
 public:
  void add(int status, const std::string& text) {
    printf("  refused         %s (status %d)\n", text.c_str(), status);
    status_ = status_ == 0 ? status : status_;
  }
  int status() const {
    return status_;
  }

 private:
  int status_ = 0;
};

int print_verdict(const fw_update& update, int board_status, bool answered) {
  refusals found;
  if (board_status != 0) {
    found.add(board_status, "the package is not for this card");
  }
  for (const fw_problem& problem : fw_package_check(update.package)) {
    found.add(problem.status(), problem.text);
  }
  const char* deaf = update.deafness == nullptr ? nullptr : update.deafness();
  if (deaf != nullptr) {
    found.add(EXIT_FAILED, std::string("the card's answers cannot be heard: ") + deaf);
  }
  if (!answered) {
    found.add(EXIT_FAILED, "the card does not answer the request to update");
  } else if (update.running.allows_update == 0) {
    found.add(EXIT_REFUSED, "the card refuses the update");
  } else if (!fw_partition_is_known(update)) {
    found.add(EXIT_FAILED, kx_text("the card says that it runs from partition %u", update.running.partition));
  }
  if (found.status() == 0) {
    printf("  refused         by nothing\n");
  }
  return found.status();
}

}  // namespace

void fw_plan_tell(fw_update* update) {
  const kxtool_device& device = *update->device;
  const part_sums sums = package_sum(*update);
  const std::string name =
      device.interface == nullptr ? device.sbdf_text : kx_text("%s (%s)", device.interface, device.sbdf_text);
  fw_announce(*update, kx_text("card %s, board type %s: runs %s from partition %u", name.c_str(),
                               fw_text_printable(board_type(*update)).data(), update->running.version.data(),
                               update->running.partition));
  fw_announce(*update,
              kx_text("package %s to %s: %u image%s, %" PRIu64 " byte%s, about %" PRIu64
                      " s and the card's own time; SHA-256 %s, %s",
                      identification_text(*update).data(), target_text(*update), sums.images, kx_plural(sums.images),
                      sums.bytes, kx_plural(sums.bytes), (sums.milliseconds + 999) / 1000,
                      fw_sha256_text(update->sha256).c_str(), package_path(*update)));
  sums_tell(update->package);
}

void fw_result_tell(fw_update* update) {
  fw_announce(*update,
              kx_text("now runs %s from partition %u; the card's next reset starts %s, which %s now hold%s",
                      update->running.version.data(), update->running.partition, identification_text(*update).data(),
                      target_text(*update), is_whole_flash(*update) ? "" : "s"));
  fw_tell("to start it reset the card by its BMC, or switch the host off and on");
}

int fw_dry_run(fw_update* update, int board_status) {
  const bool answered = fw_running_ask(update, &update->running) == 0;
  update->cur_partition = update->running.partition;
  print_card(*update, answered);
  print_package(*update);
  const part_sums sums = package_sum(*update);
  printf("update\n");
  if (answered && fw_partition_is_known(*update)) {
    printf("  writes          %u image%s, %" PRIu64 " byte%s, to %s\n", sums.images, kx_plural(sums.images), sums.bytes,
           kx_plural(sums.bytes), target_text(*update));
  }
  printf("  takes           about %" PRIu64 " s, and what the card takes to erase and read back\n",
         (sums.milliseconds + 999) / 1000);
  const int status = print_verdict(*update, board_status, answered);
  fflush(stdout);
  return status;
}
