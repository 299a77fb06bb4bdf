// What the user sees while an update runs: on a terminal one line that is redrawn, otherwise one line a phase without
// control characters. Used by the command's thread.
#pragma once

#include <cstddef>
#include <cstdint>

struct fw_progress {
  bool terminal = false;
  uint64_t total = 0;  ///< bytes that the update sends for all images
  uint64_t done = 0;   ///< of them
  char part = '\0';    ///< part of a package that has two, else 0
  uint32_t image = 0;  ///< number of the current image, from 1; 0 for a phase of none
  uint32_t image_num = 0;
  const char* phase = nullptr;  ///< null before the first one
  uint64_t start_ms = 0;        ///< when the update began
  uint64_t written = 0;         ///< bytes sent, repeats included
  uint64_t writing_ms = 0;      ///< time in which they were sent
  uint64_t piece_ms = 0;        ///< when the last piece was counted
  uint64_t drawn_ms = 0;        ///< when a piece last had the line redrawn
};

/// Begins a progress line for an update.
void fw_progress_start(fw_progress* progress);
/// Enters a phase of an image.
void fw_progress_phase(fw_progress* progress, const char* phase);
/// Sending of an image's data begins, or begins again, at `done` bytes of the update.
void fw_progress_write_start(fw_progress* progress, uint64_t done);
/// `bytes` more were sent. Redraws the line, ten times a second at most: a serial console must not slow the update
/// down.
void fw_progress_add(fw_progress* progress, uint64_t bytes);
/// Redraws the line on a terminal.
void fw_progress_draw(const fw_progress* progress);

/// The text of the line, without control characters; `now_ms` is on the clock of start_ms.
void fw_progress_text(const fw_progress& progress, uint64_t now_ms, char* text, size_t size);
