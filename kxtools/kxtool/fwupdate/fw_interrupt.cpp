#include "fw_interrupt.h"

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdio>

#include "fw_log.h"

namespace {

// The signal may arrive on any thread.
std::atomic<bool> interrupt_raised = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void on_interrupt(int) {
  interrupt_raised = true;
}

[[gnu::format(printf, 2, 3)]] void append(std::string* text, const char* format, ...) {
  char part[256];
  va_list args;
  va_start(args, format);
  vsnprintf(part, sizeof part, format, args);
  va_end(args);
  *text += part;
}

// The partition that the current part of the package is written to.
uint32_t target_partition(const fw_update& update) {
  if (update.package.kind == FW_KIND_WHOLE_FLASH) {
    return update.part;
  }
  return update.cur_partition == 1 ? 2 : 1;
}

void append_image(const fw_update& update, std::string* text) {
  fw_image image = {};
  if (update.image < update.header.table().size()) {
    image = update.header.images[update.image];
  }
  append(text, "image %d of %u ", update.image + 1, update.header.fw_cnt);
  if (update.phase == fw_phase::erasing) {
    append(text, "is being erased");
  } else if (update.phase == fw_phase::writing) {
    append(text, "holds %u of %llu bytes", update.image_sent.load(),
           static_cast<unsigned long long>(fw_image_sent_size(image)));
  } else if (update.phase == fw_phase::reading) {
    append(text, "is written but not verified");
  } else {
    append(text, "is not written yet");
  }
}

void append_running(const fw_update& update, std::string* text) {
  const uint32_t running = update.cur_partition;
  const bool whole_flash = update.package.kind == FW_KIND_WHOLE_FLASH;
  if (!whole_flash || running > update.part) {
    append(text, "the running partition %u is untouched", running);
  } else if (running == update.part) {
    append(text, "it is the running partition: repeat the update before the card is reset");
  } else {
    append(text, "the running partition %u is already updated and verified", running);
  }
}

}  // namespace

void fw_interrupt_install() {
  interrupt_raised = false;
  struct sigaction action = {};
  action.sa_handler = on_interrupt;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
}

bool fw_interrupt_is_raised() {
  return interrupt_raised;
}

std::string fw_interrupt_text(const fw_update& update) {
  std::string text = "interrupted: ";
  if (!update.header_sent) {
    return text + "nothing was written to the flash, the running partition is untouched";
  }
  if (update.phase == fw_phase::ending) {
    append(&text,
           "all images are written and verified, but the card has not finished: it may start partition %u at its "
           "next reset; ",
           target_partition(update));
  } else {
    append(&text, "partition %u is incomplete, ", target_partition(update));
    append_image(update, &text);
    append(&text, ": repeat the update; ");
  }
  append_running(update, &text);
  return text;
}

void fw_interrupt_report(const fw_update& update) {
  const std::string text = fw_interrupt_text(update);
  FW_ERR("%s\n", text.c_str());
  fw_progress_clear();
  fprintf(stderr, "%s\n", text.c_str());
}
