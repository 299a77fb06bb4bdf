#include "startup/cmd_ctx.h"

namespace {

kxtool_cmd_ctx* process_ctx = nullptr;  // set once, before any thread starts

}  // namespace

kxtool_cmd_ctx* kxtool_get_cmd_ctx() {
  return process_ctx;
}

void kxtool_cmd_ctx_set(kxtool_cmd_ctx* ctx) {
  process_ctx = ctx;
}
