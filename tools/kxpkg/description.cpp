#include "description.h"

#include <cjson/cJSON.h>

#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

namespace {

constexpr size_t DESCRIPTION_SIZE_MAX = 1 << 20;

struct json_deleter {
  void operator()(cJSON* json) const {
    cJSON_Delete(json);
  }
};
using json_ptr = std::unique_ptr<cJSON, json_deleter>;

struct file_closer {
  void operator()(FILE* file) const {
    fclose(file);
  }
};

// One description: every reader returns false after it has said what is wrong with it.
class reader {
 public:
  explicit reader(const char* path) : path_(path) {
    const char* slash = strrchr(path, '/');
    folder_ = slash == nullptr ? "" : std::string(path, slash + 1);
  }

  bool load(json_ptr* json) const;
  bool description(const cJSON* json, kxpkg_description* out) const;

 private:
  [[gnu::format(printf, 2, 3)]] bool fail(const char* format, ...) const;
  bool keys(const cJSON* json, const char* what, std::span<const char* const> allowed) const;
  bool text(const cJSON* json, const char* key, std::string* out) const;
  bool number(const cJSON* json, const char* key, uint32_t max, uint32_t* out) const;
  bool image(const cJSON* json, kxpkg_image* out) const;
  bool images(const cJSON* json, kxpkg_part* out) const;
  bool identification(const cJSON* json, kxpkg_part* out) const;
  bool parts(const cJSON* json, kxpkg_description* out) const;

  std::string file_path(const std::string& name) const {
    return name.empty() || name[0] == '/' ? name : folder_ + name;
  }

  const char* path_;
  std::string folder_;  // with its slash
};

bool reader::fail(const char* format, ...) const {
  fprintf(stderr, "kxpkg: %s: ", path_);
  va_list args;
  va_start(args, format);
  vfprintf(stderr, format, args);
  va_end(args);
  fputc('\n', stderr);
  return false;
}

bool reader::load(json_ptr* json) const {
  const std::unique_ptr<FILE, file_closer> file(fopen(path_, "re"));
  if (!file) {
    return fail("%s", strerror(errno));
  }
  std::string content(DESCRIPTION_SIZE_MAX + 1, '\0');
  content.resize(fread(content.data(), 1, content.size(), file.get()));
  if (ferror(file.get()) != 0) {
    return fail("%s", strerror(errno));
  }
  if (content.size() > DESCRIPTION_SIZE_MAX) {
    return fail("is larger than %zu bytes", DESCRIPTION_SIZE_MAX);
  }
  const char* end = nullptr;
  json->reset(cJSON_ParseWithLengthOpts(content.c_str(), content.size() + 1, &end, 1));
  if (!*json) {
    const ptrdiff_t at = end == nullptr ? 0 : end - content.c_str();
    return fail("is no JSON: see byte %td", at);
  }
  return cJSON_IsObject(json->get()) != 0 || fail("must be a JSON object");
}

// A key that nobody reads is a slip of the pen.
bool reader::keys(const cJSON* json, const char* what, std::span<const char* const> allowed) const {
  if (cJSON_IsObject(json) == 0) {
    return fail("%s must be an object", what);
  }
  for (const cJSON* item = json->child; item != nullptr; item = item->next) {
    bool known = false;
    for (const char* key : allowed) {
      known = known || strcmp(item->string, key) == 0;
    }
    if (!known) {
      return fail("unknown key \"%s\" in %s", item->string, what);
    }
  }
  return true;
}

bool reader::text(const cJSON* json, const char* key, std::string* out) const {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(json, key);
  if (cJSON_IsString(item) == 0) {
    return fail("\"%s\" must be a text", key);
  }
  *out = item->valuestring;
  return true;
}

bool reader::number(const cJSON* json, const char* key, uint32_t max, uint32_t* out) const {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(json, key);
  double value = -1;
  if (cJSON_IsNumber(item) != 0) {
    value = item->valuedouble;
  } else if (cJSON_IsString(item) != 0 && item->valuestring[0] >= '0' && item->valuestring[0] <= '9') {
    char* end = nullptr;
    errno = 0;
    const unsigned long long read = strtoull(item->valuestring, &end, 0);
    value = errno == 0 && *end == '\0' ? static_cast<double>(read) : -1;
  }
  if (!(value >= 0 && value <= max) || value != std::floor(value)) {
    return fail("\"%s\" must be a whole number from 0 to %u", key, max);
  }
  *out = static_cast<uint32_t>(value);
  return true;
}

bool reader::image(const cJSON* json, kxpkg_image* out) const {
  static constexpr const char* KEYS[] = {"file", "offset", "type"};
  uint32_t type = 0;
  if (!keys(json, "an image", KEYS) || !number(json, "offset", UINT32_MAX, &out->offset) ||
      !number(json, "type", UINT8_MAX, &type)) {
    return false;
  }
  out->type = static_cast<uint8_t>(type);
  if (!cJSON_HasObjectItem(json, "file")) {
    return true;
  }
  std::string name;
  if (!text(json, "file", &name)) {
    return false;
  }
  out->file = file_path(name);
  return true;
}

bool reader::images(const cJSON* json, kxpkg_part* out) const {
  const cJSON* list = cJSON_GetObjectItemCaseSensitive(json, "images");
  if (cJSON_IsArray(list) == 0) {
    return fail("\"images\" must be a list");
  }
  for (const cJSON* item = list->child; item != nullptr; item = item->next) {
    if (!image(item, &out->images.emplace_back())) {
      return false;
    }
  }
  if (out->images.empty() || out->images.size() > FW_IMAGE_NUM_MAX) {
    return fail("\"images\" holds %zu images, must be 1 to %u", out->images.size(), FW_IMAGE_NUM_MAX);
  }
  return true;
}

bool reader::identification(const cJSON* json, kxpkg_part* out) const {
  if (!text(json, "identification", &out->identification)) {
    return false;
  }
  return out->identification.size() <= FW_IDENTIFICATION_SIZE ||
         fail("\"identification\" has more than %u characters", FW_IDENTIFICATION_SIZE);
}

bool reader::parts(const cJSON* json, kxpkg_description* out) const {
  static constexpr const char* KEYS[] = {"identification", "images"};
  const cJSON* part_b = cJSON_GetObjectItemCaseSensitive(json, "part_b");
  if ((part_b != nullptr) != (out->kind == FW_KIND_WHOLE_FLASH)) {
    return fail("\"part_b\" belongs to kind 2, and to no other");
  }
  out->parts.resize(part_b == nullptr ? 1 : 2);
  if (!identification(json, &out->parts[0]) || !images(json, &out->parts[0])) {
    return false;
  }
  if (part_b == nullptr) {
    return true;
  }
  out->parts[1].identification = out->parts[0].identification;
  if (!keys(part_b, "\"part_b\"", KEYS) ||
      (cJSON_HasObjectItem(part_b, "identification") && !identification(part_b, &out->parts[1]))) {
    return false;
  }
  return images(part_b, &out->parts[1]);
}

bool reader::description(const cJSON* json, kxpkg_description* out) const {
  static constexpr const char* KEYS[] = {"identification", "kind", "boot_loader", "images", "part_b"};
  uint32_t kind = 0;
  if (!keys(json, "the description", KEYS) || !number(json, "kind", FW_KIND_WHOLE_FLASH, &kind)) {
    return false;
  }
  if (kind == FW_KIND_NONE) {
    return fail("\"kind\" must be 1 or 2");
  }
  out->kind = static_cast<fw_package_kind>(kind);
  if (cJSON_HasObjectItem(json, "boot_loader")) {
    std::string name;
    if (!text(json, "boot_loader", &name)) {
      return false;
    }
    out->boot_loader = file_path(name);
  }
  return parts(json, out);
}

}  // namespace

bool kxpkg_description_read(const char* path, kxpkg_description* description) {
  const reader source(path);
  json_ptr json;
  return source.load(&json) && source.description(json.get(), description);
}
