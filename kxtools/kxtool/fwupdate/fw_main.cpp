// Entry of the sub-command.
#include <sys/prctl.h>
#include <syslog.h>
#include <unistd.h>

#include <new>

#include "channel/event.h"
#include "channel/mailbox.h"
#include "channel/process_exit.h"
#include "common/report.h"
#include "common/signals.h"
#include "fw_args.h"
#include "fw_flash_text.h"
#include "fw_log.h"
#include "fw_message.h"
#include "fw_plan.h"
#include "fw_run.h"
#include "fw_tell.h"
#include "fwupdate/fwupdate.h"
#include "kxtools/session.h"
#include "startup/exit.h"

namespace {

constexpr int EXIT_NO_PERMISSION = 6;
constexpr unsigned long TIMER_SLACK_NS = 1000;  // the kernel's 50 us more would be half a per cent of every packet

void sleep_us(uint32_t microseconds) {
  usleep(microseconds);
}

const char* channel_failure(int status) {
  switch (status) {
    case BAR_MSG_ERR_TIME_OUT:
      return "the card does not answer";
    case BAR_MSG_ERR_REPS_LEN:
      return "the card's answer is longer than expected";
    case BAR_MSG_ERR_REPS_ID:
      return "the card answers another message";
    default:
      return "the exchange with the card is not possible";
  }
}

// One line for the system's log; on a machine without one it goes nowhere.
void journal_write(const char* line) {
  openlog("kxtool", LOG_PID, LOG_USER);
  syslog(LOG_NOTICE, "%s", line);
}

// How it ended.
void end_note(const fw_update& update, int status) {
  const std::string cause = fw_cause();
  fw_note(update, kx_text("fwupdate of %s ends with status %d%s%s", update.device->name, status,
                          cause.empty() ? "" : ": ", cause.c_str()));
}

// The mailbox ends the process when an exchange fails: the log and the user still hear what is left. Behind a finished
// update only its statistics are asked for: it stays finished.
int on_channel_exit(int status) {
  fw_update* update = fw_update_get();
  FW_ERR("the channel to the card failed, exit status %d\n", status);
  if (kxtool_fw_fsm_get() == FW_STATE_FINISHED) {
    status = update->exit_status;
    if (status == 0 && update->package.kind != FW_KIND_NONE) {
      fw_result_tell(update);
    }
  } else {
    const bool gone = kx_device_memory_losses != 0;
    fw_tell(std::string("cause: ") + (gone ? "the card's BAR was taken away" : channel_failure(status)));
    fw_flash_report(*update, "failed");
    status = gone ? FW_EXIT_FAILED : status;
  }
  end_note(*update, status);
  return status;
}

[[noreturn]] void leave(const fw_update& update, int status) {
  kxtool_device* device = update.device;
  end_note(update, status);
  kxtool_recv_cb_set(nullptr);
  kxtool_process_exit_hook_set(nullptr);
  device->wire->close(device);
  kxtool_exit(status);
}

}  // namespace

int kxtool_fw_words_check(kxtool_cmd_ctx* ctx) {
  auto* request = new (std::nothrow) fw_request;  // lives as long as the process
  if (request == nullptr) {
    KXTOOLS_ERR("no memory for the command's words\n");
    return 1;
  }
  ctx->prepared = request;
  const int status = fw_request_read(*ctx, request);
  ctx->card_shared = request->query != nullptr;  // an exchange or two, and no notices
  return status;
}

const char kxtool_fw_usage[] = R"(    COMMAND:
        -f|-fw|fwupdate
    SYNOPSIS:
        kxtool fwupdate <device> <version package> [--dry-run] [--sha256 <sum>]
        kxtool fwupdate <device> version|part|flash_cnt
    DESCRIPTION:
        Writes a firmware version package into the card's flash: a package of one partition into the
        partition that does not run, a package of the whole flash into both. The new firmware runs after
        the next reset of the card. What happened is appended to /var/log/kxtool/kxtool_fw_upd.log, plan and
        result also to the system's log. Do not remove power while the update runs; after Ctrl-C the flash's
        state is told.
    OPTIONS:
        <device>             network interface of the card; at super-user level in the shell also the
                             PCI address of its function, domain:bus:device.function
        <version package>    path of the package file
        --dry-run            show the card, the package, what would be written and what would refuse it, and
                             write nothing; the exit status is the update's
        --sha256 <sum>       refuse a file of another SHA-256 before the card hears of it
        version              show the running firmware version
        part                 show the partition from which the firmware runs
        flash_cnt            show the flash and message statistics of the firmware
    EXIT STATUS:
        0 updated, 1 wrong words or device, 2 package unreadable or of another SHA-256, 3 board type unknown,
        4 package is for another board, 5 the card refuses, 6 not permitted, 7 failed, 130 interrupted;
        by PCI address a failed exchange has its own: 6 no answer in 10 seconds, 12 reply too long,
        15 reply to another message
    EXAMPLES:
        kxtool fwupdate eth0 /root/package.bin --dry-run
        kxtool fwupdate eth0 /root/package.bin
        kxtool fwupdate eth0 version)";

int kxtool_fw_main(kxtool_cmd_ctx* ctx) {
  auto* request = static_cast<fw_request*>(ctx->prepared);
  // Lives as long as the process: notices reach it until the end.
  fw_update update;
  update.device = &ctx->device;
  update.send = kxtool_fw_msg_send_sync;
  update.pause = sleep_us;
  update.journal = request->path != nullptr && !request->dry_run ? journal_write : nullptr;
  update.deafness = kxtool_notice_deafness;
  fw_update_set(&update);
  fw_log_open();
  FW_INFO("fwupdate pid is %d\n", static_cast<int>(getpid()));
  const kx_signal_guard guard;  // the update ends where the flash can be described
  prctl(PR_SET_TIMERSLACK, TIMER_SLACK_NS);
  kxtool_process_exit_hook_set(on_channel_exit);
  fw_note(update, kx_text("fwupdate of %s begins: %s", ctx->device.name, fw_user_text().c_str()));
  const int args = kxtool_fw_args_parse(request, &update);
  if (args != 0 && !request->dry_run) {
    leave(update, args);
  }
  if (ctx->device.interface == nullptr && kxtools_permission_get() == 0) {
    kx_print("Warning: This command is not supported by the current permissions!!!\n");
    FW_ERR("This command is not supported by the current permissions\n");
    fw_cause_tell("by PCI address the shell's super user may update ('su' raises the level)");
    leave(update, EXIT_NO_PERMISSION);
  }
  if (request->dry_run) {
    leave(update, fw_dry_run(&update, args));
  }
  kxtool_recv_cb_set(mts_fwupdate_recv_cb);
  fw_progress_start(&update.progress);
  const int status = fw_run(&update);
  leave(update, status);
}
