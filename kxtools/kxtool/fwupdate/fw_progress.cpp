#include "fw_progress.h"

#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "common/clock.h"
#include "common/report.h"
#include "common/status_line.h"

namespace {

constexpr uint64_t REDRAW_MS = 100;
constexpr uint64_t RATE_AFTER_MS = 10;  // one pause behind a packet: the first packet alone tells no rate

// "image 1/2 writing", with the part in front for a package that has two; a phase of no image stands alone.
int head_text(const fw_progress& progress, char* text, size_t size) {
  if (progress.image == 0) {
    return snprintf(text, size, "%s", progress.phase);
  }
  char part[16] = "";
  if (progress.part != '\0') {
    snprintf(part, sizeof part, "part %c ", progress.part);
  }
  return snprintf(text, size, "%simage %u/%u %s", part, progress.image, progress.image_num, progress.phase);
}

}  // namespace

void fw_progress_start(fw_progress* progress) {
  *progress = {};
  progress->terminal = isatty(STDOUT_FILENO) == 1;
  progress->start_ms = kx_now_ms();
}

void fw_progress_phase(fw_progress* progress, const char* phase) {
  progress->phase = phase;
  if (progress->terminal) {
    fw_progress_draw(progress);
    return;
  }
  char text[128];
  head_text(*progress, text, sizeof text);
  kx_print("%s\n", text);
}

void fw_progress_write_start(fw_progress* progress, uint64_t done) {
  progress->done = done;
  progress->piece_ms = kx_now_ms();
}

void fw_progress_add(fw_progress* progress, uint64_t bytes) {
  const uint64_t now = kx_now_ms();
  progress->done += bytes;
  progress->written += bytes;
  progress->writing_ms += now - progress->piece_ms;
  progress->piece_ms = now;
  if (now - progress->drawn_ms >= REDRAW_MS) {
    progress->drawn_ms = now;
    fw_progress_draw(progress);
  }
}

void fw_progress_text(const fw_progress& progress, uint64_t now_ms, char* text, size_t size) {
  const uint64_t seconds = (now_ms - progress.start_ms) / 1000;
  const int length = head_text(progress, text, size);
  if (length < 0 || static_cast<size_t>(length) >= size) {
    return;
  }
  text += length;
  size -= static_cast<size_t>(length);
  const uint64_t percent = progress.total == 0 ? 100 : progress.done * 100 / progress.total;
  if (progress.writing_ms < RATE_AFTER_MS) {
    snprintf(text, size, " %3" PRIu64 "%%, %" PRIu64 " s", percent, seconds);
    return;
  }
  const uint64_t rate = std::max<uint64_t>(progress.written * 1000 / progress.writing_ms, 1);
  const uint64_t left = (progress.total - std::min(progress.done, progress.total) + rate - 1) / rate;
  snprintf(text, size, " %3" PRIu64 "%%, %" PRIu64 " KiB/s, %" PRIu64 " s, %" PRIu64 " s left", percent, rate / 1024,
           seconds, left);
}

void fw_progress_draw(const fw_progress* progress) {
  if (!progress->terminal || progress->phase == nullptr) {
    return;
  }
  char text[160];
  fw_progress_text(*progress, kx_now_ms(), text, sizeof text);
  kx_status_show(text);
}
