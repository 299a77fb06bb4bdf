#include "fw_args.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "common/nearest.h"
#include "common/report.h"
#include "fw_log.h"

namespace {

constexpr int EXIT_WORDS = 1;
constexpr int EXIT_NO_PACKAGE = 2;

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

const query* query_find(const char* word) {
  for (const query& row : QUERIES) {
    if (strcmp(row.word, word) == 0) {
      return &row;
    }
  }
  return nullptr;
}

// The words as they were typed.
struct words {
  const char* object = nullptr;
  const char* sha256 = nullptr;
  bool dry_run = false;
};

constexpr const char* ONE_WORD =
    "one word is needed after the device: a version package, or one of version, part, flash_cnt";

std::string quoted(const char* word) {
  return std::string("'") + word + "'";
}

std::string option_explain(const char* word) {
  kx_nearest nearest(word);
  nearest.offer("--dry-run");
  nearest.offer("--sha256");
  return quoted(word) + " is no option: " +
         (nearest.name() != nullptr ? "did you mean " + quoted(nearest.name()) + "?"
                                    : "the options are --dry-run and --sha256");
}

// Returns what is wrong with them, or nothing.
std::string words_read(const kxtool_cmd_ctx& ctx, words* out) {
  for (uint32_t i = 0; i < ctx.argc; ++i) {
    const char* word = ctx.argv[i];
    if (strcmp(word, "--dry-run") == 0) {
      out->dry_run = true;
    } else if (strcmp(word, "--sha256") == 0) {
      if (++i == ctx.argc) {
        return "--sha256 needs the sum that the package must have";
      }
      out->sha256 = ctx.argv[i];
    } else if (strncmp(word, "--", 2) == 0) {
      return option_explain(word);
    } else if (out->object != nullptr) {
      return quoted(word) + " is one word too many: " + ONE_WORD;
    } else {
      out->object = word;
    }
  }
  if (out->object == nullptr) {
    return ONE_WORD;
  }
  if (query_find(out->object) != nullptr && (out->dry_run || out->sha256 != nullptr)) {
    return "--dry-run and --sha256 belong to a version package";
  }
  return {};
}

int refuse_words(const kxtool_cmd_ctx& ctx, const std::string& why) {
  kx_error_print("kxtool %s: %s\n%s\n", ctx.name, why.c_str(), ctx.option->usage);
  return EXIT_WORDS;
}

int refuse_package(const char* path, const std::string& why) {
  kx_error_print("version package '%s' %s\n", path, why.c_str());
  return EXIT_NO_PACKAGE;
}

// A package that is not there may be a query with a slip.
void query_explain(const char* path, int error) {
  kx_nearest nearest(path);
  for (const query& row : QUERIES) {
    nearest.offer(row.word);
  }
  if (error == ENOENT && nearest.name() != nullptr) {
    kx_error_print("kxtool: '%s' is no query: did you mean '%s'?\n", path, nearest.name());
  }
}

int package_open(const char* path, fw_package* package) {
  const fw_open_result result = fw_package_open(path, package);
  const int error = errno;
  switch (result) {
    case fw_open_result::opened:
      return 0;
    case fw_open_result::no_file:
      query_explain(path, error);
      return refuse_package(path, std::string("cannot be opened: ") + strerror(error));
    case fw_open_result::no_regular_file:
      return refuse_package(path, "is no regular file");
    case fw_open_result::too_large:
      return refuse_package(path, "is larger than " + std::to_string(FW_PACKAGE_SIZE_MAX) + " bytes");
  }
  return EXIT_NO_PACKAGE;
}

}  // namespace

int fw_request_read(const kxtool_cmd_ctx& ctx, fw_request* request) {
  words typed;
  std::string wrong = words_read(ctx, &typed);
  fw_sha256 expected = {};
  if (wrong.empty() && typed.sha256 != nullptr && !fw_sha256_read(typed.sha256, &expected)) {
    wrong = "--sha256 takes 64 hexadecimal digits";
  }
  if (!wrong.empty() || typed.object == nullptr) {
    return refuse_words(ctx, wrong);
  }
  if (query_find(typed.object) != nullptr) {
    request->query = typed.object;
    return 0;
  }
  request->path = typed.object;
  request->dry_run = typed.dry_run;
  const int status = package_open(typed.object, &request->package);
  if (status != 0) {
    return status;
  }
  const int32_t error = fw_file_sha256(request->package.fd.get(), request->package.size, &request->sha256);
  if (error != 0) {
    return refuse_package(typed.object, std::string("cannot be read: ") + strerror(error));
  }
  if (typed.sha256 != nullptr && request->sha256 != expected) {
    return refuse_package(typed.object, "is another file: its SHA-256 is " + fw_sha256_text(request->sha256));
  }
  return 0;
}

int kxtool_fw_args_parse(fw_request* request, fw_update* update) {
  if (request->query != nullptr) {
    const query* row = query_find(request->query);
    update->command = row->word;
    kxtool_fw_fsm_set(row->state);
    return 0;
  }
  update->command = COMMAND_PACKAGE;
  update->package = std::move(request->package);
  update->path = request->path;
  update->sha256 = request->sha256;
  FW_INFO("version package '%s', %llu bytes, kind %d\n", request->path,
          static_cast<unsigned long long>(update->package.size), update->package.kind);
  kxtool_fw_fsm_set(FW_STATE_PARSE);
  // Without a kind the parsing of the package refuses it.
  return update->package.kind == FW_KIND_NONE ? 0 : fw_upd_boardtype_verify(update);
}
