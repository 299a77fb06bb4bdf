// The update's state: a machine that the command's thread drives once a tick and that the card's notices, on the
// receive thread, move on while it waits.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "channel/device.h"
#include "common/text.h"
#include "fw_progress.h"
#include "fwupdate/package_digest.h"
#include "fwupdate/running.h"

enum fw_state : uint8_t {
  FW_STATE_VERSION = 16,
  FW_STATE_PARSE = 17,
  FW_STATE_AUTHORISE = 18,
  FW_STATE_HEADER = 19,
  FW_STATE_FINISHED = 20,
  FW_STATE_WAIT = 21,  ///< for a notice, or inside a handler
  FW_STATE_END = 22,
  FW_STATE_FAILED = 24,
  FW_STATE_PART = 26,
  FW_STATE_FLASH_CNT = 27,
  FW_STATE_ERASE = 32,
  FW_STATE_DATA = 64,
  FW_STATE_READ_BACK = 96,
};

/// What the card was last asked for, and how that ended badly. A notice moves the machine only when it answers it.
enum class fw_phase : uint8_t { none, erasing, erase_failed, writing, reading, mismatch, ending };

/// Sends one request of the update and waits for its reply: `*reply_len` is the size of `reply` and becomes the length
/// of what came, as far as the channel tells it. Returns 0 or non-zero.
using fw_send_fn = int32_t (*)(kxtool_device* device, const void* payload, uint16_t length, void* reply,
                               uint16_t* reply_len);

/// Ticks that the card may take; a tick is 100 ms.
struct fw_time_limits {
  uint32_t erase = 6000;
  uint32_t read_back = 3600;
  uint32_t end = 3600;
};

struct fw_update {
  kxtool_device* device = nullptr;
  fw_send_fn send = nullptr;
  void (*pause)(uint32_t microseconds) = nullptr;  ///< sleeps; with it the caller chooses how long a tick is
  const char* (*deafness)() = nullptr;             ///< why no notice can come; null while one can
  fw_time_limits limits;
  const char* command = "";  ///< command word of the state table
  int exit_status = 0;       ///< of a state 20 that is no success

  fw_package package;
  const char* path = nullptr;                   ///< of the package
  fw_sha256 sha256 = {};                        ///< of the whole file
  void (*journal)(const char* line) = nullptr;  ///< the system's log; null keeps lines out of it
  fw_board_type board_type = {};                ///< the card's; empty when it does not tell
  fw_running running;
  uint64_t total_size = 0;  ///< bytes that will be sent for all images
  fw_progress progress;

  /// Held by a notice while it moves the machine, and by whoever tells what the flash holds.
  std::mutex lock;

  // Written by the command's thread before the request that a notice answers, or by the notice while that thread waits;
  // handed over by the state.
  fw_header header;
  uint32_t cur_partition = 0;
  uint32_t sum_sent = 0;
  bool header_sent = false;  ///< from then on the flash may differ from before

  std::atomic<uint8_t> state = 0;
  std::atomic<fw_phase> phase = fw_phase::none;
  std::atomic<uint8_t> part = FW_PART_A;        ///< package index
  std::atomic<uint8_t> image = 0;               ///< current image
  std::atomic<uint32_t> image_sent = 0;         ///< bytes of it that the card took
  std::atomic<bool> statistics_wanted = false;  ///< set by notices; the command's thread asks the card
  std::atomic<uint32_t> erase_failures = 0;
  std::atomic<uint32_t> write_failures = 0;
  std::atomic<uint32_t> sum_failures = 0;
};

/// The update of this process; null before it began. Set before notices are taken.
fw_update* fw_update_get();
void fw_update_set(fw_update* update);

/// Fails the update: logs one line, keeps the first such text for fw_cause, then sets the state. `text` has no newline.
/// Returns -1, as the handler does that found the fault.
int32_t fw_fail(const char* function, int line, const std::string& text);
#define FW_FAIL(...) fw_fail(__func__, __LINE__, kx_text(__VA_ARGS__))
/// Why the update fails; empty while it does not.
std::string fw_cause();

/// Fails the update when the card's answers cannot be heard: true then.
bool fw_is_deaf(fw_update* update);

/// States of 128 and more are ignored.
void kxtool_fw_fsm_set(uint8_t state);
uint8_t kxtool_fw_fsm_get();
/// Goes from `from` to `to`; false when the machine was in another state and stays there.
bool fw_fsm_advance(fw_state from, fw_state to);

/// True when the card runs from one of its two partitions.
bool fw_partition_is_known(const fw_update& update);
/// The current image; false behind the last one. Images that are not to be written are skipped.
bool fw_image_current(fw_update* update, fw_image* image);
