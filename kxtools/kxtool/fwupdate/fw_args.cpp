#include "fw_args.h"

#include <cerrno>
#include <cstring>

#include "common/report.h"
#include "fw_log.h"

namespace {

struct query {
  const char* word;
  fw_state state;
};

constexpr query QUERIES[] = {
    {"version", FW_STATE_VERSION},
    {"part", FW_STATE_PART},
    {"flash_cnt", FW_STATE_FLASH_CNT},
};
constexpr const char* COMMAND_PACKAGE = "bin";  // whatever the file is called

bool package_open(const char* path, fw_package* package) {
  switch (fw_package_open(path, package)) {
    case fw_open_result::opened:
      return true;
    case fw_open_result::no_file:
      KXTOOLS_ERR("version package '%s' cannot be opened: %s\n", path, strerror(errno));
      break;
    case fw_open_result::no_regular_file:
      KXTOOLS_ERR("version package '%s' is no regular file\n", path);
      break;
    case fw_open_result::too_large:
      KXTOOLS_ERR("version package '%s' is larger than %llu bytes\n", path,
                  static_cast<unsigned long long>(FW_PACKAGE_SIZE_MAX));
      break;
  }
  FW_ERR("version package '%s' was not taken\n", path);
  return false;
}

}  // namespace

int kxtool_fw_args_parse(const kxtool_cmd_ctx& ctx, fw_update* update) {
  if (ctx.argc != 1) {
    KXTOOLS_ERR("one word is needed after the device: a version package, or one of version, part, flash_cnt\n");
    FW_ERR("%u words after the device, must be 1\n", ctx.argc);
    return -1;
  }
  const char* word = ctx.argv[0];
  for (const query& row : QUERIES) {
    if (strcmp(row.word, word) == 0) {
      update->command = row.word;
      kxtool_fw_fsm_set(row.state);
      return 0;
    }
  }
  update->command = COMMAND_PACKAGE;
  if (!package_open(word, &update->package)) {
    return -1;
  }
  FW_INFO("version package '%s', %llu bytes, kind %d\n", word, static_cast<unsigned long long>(update->package.size),
          update->package.kind);
  kxtool_fw_fsm_set(FW_STATE_PARSE);
  // Without a kind the parsing of the package refuses it.
  return update->package.kind == FW_KIND_NONE ? 0 : fw_upd_boardtype_verify(update->device, update->package);
}
