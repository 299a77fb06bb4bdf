#include <cstring>
#include <iterator>
#include <span>

#include "channel/tools_msg.h"
#include "common/nearest.h"
#include "common/report.h"
#include "info/info.h"
#include "startup/words.h"

namespace {

constexpr kx_line_style STYLE_ERR{"kxtool_set_vf_status_err: ", " ", nullptr};
constexpr kx_line_style STYLE_INFO{"kxtool_set_vf_status_info: ", " ", nullptr};

constexpr const char* WORDS[] = {"--mode", nullptr, "--status", nullptr};

struct value_word {
  const char* word;
  uint32_t value;
};
constexpr value_word MODES[] = {{"all_vf", 0}, {"vf2_max", 1}};
constexpr value_word STATUSES[] = {{"auto", 0}, {"enable", 1}, {"disable", 2}};

/// Payload of the driver's message.
struct vf_status_set {
  uint32_t mode;
  uint32_t status;
};
static_assert(sizeof(vf_status_set) == 8);

bool value_find(std::span<const value_word> words, const char* word, uint32_t* value) {
  for (const value_word& row : words) {
    if (strcmp(row.word, word) == 0) {
      *value = row.value;
      return true;
    }
  }
  return false;
}

bool words_parse(const kxtool_cmd_ctx& ctx, vf_status_set* set) {
  if (ctx.argc < std::size(WORDS)) {
    KX_LINE(STYLE_ERR, "Insufficient arguments!\n");
    kxtool_words_explain(ctx, WORDS);
    return false;
  }
  if (ctx.argc > std::size(WORDS) || strcmp(ctx.argv[0], WORDS[0]) != 0 || strcmp(ctx.argv[2], WORDS[2]) != 0) {
    KX_LINE(STYLE_ERR, "Failed to parse arguments!\n");
    kxtool_words_explain(ctx, WORDS);
    return false;
  }
  if (!value_find(MODES, ctx.argv[1], &set->mode)) {
    KX_LINE(STYLE_ERR, "Invalid mode value!\n");
    kx_unknown_word_print("mode", ctx.argv[1], kx_names_of(MODES, &value_word::word));
    return false;
  }
  if (!value_find(STATUSES, ctx.argv[3], &set->status)) {
    KX_LINE(STYLE_ERR, "Invalid status value!\n");
    kx_unknown_word_print("status", ctx.argv[3], kx_names_of(STATUSES, &value_word::word));
    return false;
  }
  return true;
}

int vf_status_send(kxtool_device* device, const vf_status_set& set) {
  const tarn_tools_msg_ptr msg = tarn_tools_alloc_msg(sizeof set);
  if (!msg) {
    KX_LINE(STYLE_ERR, "malloc msg failed!\n");
    return 1;
  }
  kxtool_msg_status status = {};
  tarn_tools_msg_request_set(msg.get(), KXTOOL_EVENT_GENERAL, nullptr, 0);
  msg->msg_type = KXTOOL_MSG_VF_STATUS;
  msg->event_pid = device->event_pid;
  msg->status = &status;
  memcpy(tarn_tools_msg_payload(msg.get()), &set, sizeof set);
  const int ret = kx_send_ioctl(device, msg.get());
  if (ret < 0) {
    KX_LINE(STYLE_ERR, "ioctl error, first, check if the driver of %s is corvane10e, ret=%d!\n", device->name, ret);
    return 1;
  }
  if (status.flag != 1) {
    KX_LINE(STYLE_ERR, "kxtool_vf_status_set_msg msg ioctl to kernel failed!\n");
    return 1;
  }
  KX_LINE(STYLE_INFO, "kxtool_vf_status_set_msg msg ioctl to kernel success.\n");
  return 0;
}

}  // namespace

const char kxtool_set_vf_status_usage[] = R"(    COMMAND:
        set_vf_status
    SYNOPSIS:
        kxtool set_vf_status <device> --mode <mode> --status <status>
    DESCRIPTION:
        Sets which virtual functions of the card are enabled.
    OPTIONS:
        <device>    network interface of the card
        <mode>      all_vf or vf2_max: which virtual functions are meant
        <status>    auto, enable or disable
    EXAMPLES:
        kxtool set_vf_status eth0 --mode all_vf --status enable)";

int kxtool_set_vf_status(kxtool_cmd_ctx* ctx) {
  for (uint32_t i = 0; i < ctx->argc; ++i) {
    KX_LINE(STYLE_INFO, "argp[%d]: %s\n", static_cast<int>(i), ctx->argv[i]);
  }
  vf_status_set set = {};
  if (!words_parse(*ctx, &set)) {
    return 1;
  }
  KX_LINE(STYLE_INFO, "mode %d, vf_status %d\n", static_cast<int>(set.mode), static_cast<int>(set.status));
  return vf_status_send(&ctx->device, set);
}
