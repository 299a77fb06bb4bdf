#include "fw_flash_text.h"

#include <cinttypes>

#include "common/report.h"
#include "fw_log.h"

namespace {

// The partition that the current part of the package is written to.
uint32_t target_partition(const fw_update& update) {
  if (update.package.kind == FW_KIND_WHOLE_FLASH) {
    return update.part;
  }
  return update.cur_partition == 1 ? 2 : 1;
}

void append_image(const fw_update& update, std::string* text) {
  const fw_image& image = update.header.images[update.image];
  *text += kx_text("partition %u is incomplete, image %d of %u ", target_partition(update), update.image + 1,
                   update.header.fw_cnt);
  switch (update.phase.load()) {
    case fw_phase::erasing:
      *text += "is being erased";
      break;
    case fw_phase::erase_failed:
      *text += "could not be erased";
      break;
    case fw_phase::writing:
      *text += kx_text("holds %u of %" PRIu64 " bytes", update.image_sent.load(), fw_image_sent_size(image));
      break;
    case fw_phase::reading:
      *text += "is written but not verified";
      break;
    case fw_phase::mismatch:
      *text += "is written but reads back differently";
      break;
    case fw_phase::none:
    case fw_phase::ending:
      *text += "is not written yet";
      break;
  }
  *text += ": repeat the update; ";
}

void append_running(const fw_update& update, std::string* text) {
  const uint32_t running = update.cur_partition;
  if (update.package.kind != FW_KIND_WHOLE_FLASH || running > update.part) {
    *text += kx_text("the running partition %u is untouched", running);
  } else if (running < update.part || update.image >= update.header.fw_cnt) {
    *text += kx_text("the running partition %u holds the new package already", running);
  } else {
    *text += "it is the running partition: repeat the update before the card is reset";
  }
}

}  // namespace

std::string fw_flash_text(const fw_update& update) {
  if (!update.header_sent) {
    return "nothing was written to the flash, the running partition is untouched";
  }
  if (!fw_partition_is_known(update)) {
    return kx_text("only the package header was sent; the card says that it runs from partition %u",
                   update.cur_partition);
  }
  std::string text;
  if (update.image < update.header.fw_cnt) {
    append_image(update, &text);
  } else {
    text = kx_text(
        "all images are written and verified, but the card has not finished: it may start partition %u at its next "
        "reset; ",
        target_partition(update));
  }
  append_running(update, &text);
  return text;
}

void fw_flash_report(fw_update& update, const char* why) {
  if (update.package.kind == FW_KIND_NONE && update.path == nullptr) {
    return;  // a query
  }
  const std::lock_guard guard(update.lock);
  const std::string text = fw_flash_text(update);
  FW_ERR("%s: %s\n", why, text.c_str());
  kx_error_print("%s: %s\n", why, text.c_str());
}
