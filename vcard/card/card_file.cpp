#include "vcard/card_file.h"

#include <cjson/cJSON.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <unordered_set>

namespace vcard {

struct CardFile::State {
  cJSON* document = nullptr;
  std::unordered_set<const cJSON*> read;
  std::vector<std::string> complaints;
};

namespace {

constexpr const char* comment_key = "comment";

/// An unsigned number: a whole JSON number that a double holds exactly, or a text in any base of strtoull.
std::optional<uint64_t> unsigned_value(const cJSON* item) {
  if (cJSON_IsNumber(item)) {
    double value = item->valuedouble;
    if (value < 0 || value > 9007199254740992.0 || value != std::floor(value)) {
      return std::nullopt;
    }
    return static_cast<uint64_t>(value);
  }
  if (!cJSON_IsString(item) || item->valuestring[0] == '\0' || strchr("-+ \t", item->valuestring[0]) != nullptr) {
    return std::nullopt;
  }
  char* end = nullptr;
  errno = 0;
  uint64_t value = strtoull(item->valuestring, &end, 0);
  if (errno != 0 || *end != '\0') {
    return std::nullopt;
  }
  return value;
}

std::string syntax_complaint(std::string_view text, const char* where) {
  size_t offset = where >= text.data() && where <= text.data() + text.size() ? where - text.data() : text.size();
  size_t line = 1;
  size_t column = 1;
  for (size_t i = 0; i < offset; ++i) {
    column = text[i] == '\n' ? 1 : column + 1;
    line += text[i] == '\n' ? 1 : 0;
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": not a JSON object";
}

}  // namespace

CardFile::CardFile() : CardFile("{}") {}

CardFile::CardFile(std::string_view text) : state_(std::make_unique<State>()) {
  const char* end = text.data();
  cJSON* document = cJSON_ParseWithLengthOpts(text.data(), text.size(), &end, false);
  if (document != nullptr) {
    std::string_view rest = text.substr(static_cast<size_t>(end - text.data()));
    if (!cJSON_IsObject(document) || rest.find_first_not_of(" \t\r\n") != std::string_view::npos) {
      cJSON_Delete(document);
      document = nullptr;
    }
  }
  if (document == nullptr) {
    state_->complaints.push_back(syntax_complaint(text, end));
    document = cJSON_CreateObject();
  }
  state_->document = document;
}

CardFile::~CardFile() {
  cJSON_Delete(state_->document);
}

CardSection CardFile::root() {
  return CardSection(this, state_->document, "");
}

CardSection CardFile::section(const char* key) {
  return root().section(key);
}

namespace {

/// Every value below `object` that was never read. A section that was read is searched; one that was not is named
/// whole.
void unread_collect(const cJSON* object, const std::string& path, const std::unordered_set<const cJSON*>& read,
                    std::vector<std::string>& lines) {
  size_t index = 0;
  for (const cJSON* item = object->child; item != nullptr; item = item->next, ++index) {
    std::string item_path;
    if (cJSON_IsArray(object)) {
      item_path = path + "[" + std::to_string(index) + "]";
    } else if (strcmp(item->string, comment_key) == 0) {
      continue;
    } else {
      item_path = path.empty() ? item->string : path + "." + item->string;
    }
    if (cJSON_IsObject(object) && !read.contains(item)) {
      lines.push_back(item_path + ": unknown key");
    } else if (cJSON_IsObject(item) || cJSON_IsArray(item)) {
      unread_collect(item, item_path, read, lines);
    }
  }
}

}  // namespace

std::vector<std::string> CardFile::complaints() const {
  std::vector<std::string> lines = state_->complaints;
  unread_collect(state_->document, "", state_->read, lines);
  return lines;
}

CardSection::CardSection(CardFile* file, const cJSON* object, std::string path)
    : file_(file), object_(object), path_(std::move(path)) {}

const cJSON* CardSection::find(const char* key) const {
  const cJSON* item = object_ != nullptr ? cJSON_GetObjectItemCaseSensitive(object_, key) : nullptr;
  if (item != nullptr) {
    file_->state_->read.insert(item);
  }
  return item;
}

std::string CardSection::path_of(std::string_view key) const {
  if (path_.empty() || key.empty()) {
    return path_ + std::string(key);
  }
  return path_ + "." + std::string(key);
}

void CardSection::complain(std::string_view key, std::string_view reason) const {
  file_->state_->complaints.push_back(path_of(key) + ": " + std::string(reason));
}

bool CardSection::has(const char* key) const {
  return find(key) != nullptr;
}

uint64_t CardSection::number(const char* key, uint64_t fallback, uint64_t max) const {
  const cJSON* item = find(key);
  if (item == nullptr) {
    return fallback;
  }
  std::optional<uint64_t> value = unsigned_value(item);
  if (!value) {
    complain(key, "not a whole number from 0 on");
    return fallback;
  }
  if (*value > max) {
    complain(key, "larger than " + std::to_string(max));
    return fallback;
  }
  return *value;
}

int64_t CardSection::signed_number(const char* key, int64_t fallback, int64_t min, int64_t max) const {
  const cJSON* item = find(key);
  if (item == nullptr) {
    return fallback;
  }
  std::optional<uint64_t> magnitude = unsigned_value(item);
  int64_t value = 0;
  if (magnitude && *magnitude <= INT64_MAX) {
    value = static_cast<int64_t>(*magnitude);
  } else if (cJSON_IsNumber(item) && item->valuedouble == std::floor(item->valuedouble) && item->valuedouble < 0 &&
             item->valuedouble > -9007199254740992.0) {
    value = static_cast<int64_t>(item->valuedouble);
  } else {
    complain(key, "not a whole number");
    return fallback;
  }
  if (value < min || value > max) {
    complain(key, "not between " + std::to_string(min) + " and " + std::to_string(max));
    return fallback;
  }
  return value;
}

bool CardSection::flag(const char* key, bool fallback) const {
  const cJSON* item = find(key);
  if (item == nullptr) {
    return fallback;
  }
  if (!cJSON_IsBool(item)) {
    complain(key, "not true or false");
    return fallback;
  }
  return cJSON_IsTrue(item) != 0;
}

std::string CardSection::text(const char* key, std::string_view fallback, size_t max_length) const {
  const cJSON* item = find(key);
  if (item == nullptr) {
    return std::string(fallback);
  }
  if (!cJSON_IsString(item)) {
    complain(key, "not a text");
    return std::string(fallback);
  }
  if (strlen(item->valuestring) > max_length) {
    complain(key, "longer than " + std::to_string(max_length) + " bytes");
    return std::string(fallback);
  }
  return item->valuestring;
}

Bytes CardSection::bytes(const char* key, ByteView fallback, size_t max_length) const {
  if (!has(key)) {
    return Bytes(fallback.begin(), fallback.end());
  }
  std::optional<Bytes> value = hex_bytes(text(key, "?", SIZE_MAX));
  if (!value || value->size() > max_length) {
    complain(key, "not hexadecimal digits of at most " + std::to_string(max_length) + " bytes");
    return Bytes(fallback.begin(), fallback.end());
  }
  return *value;
}

size_t CardSection::choice(const char* key, size_t fallback, std::span<const char* const> names) const {
  if (!has(key)) {
    return fallback;
  }
  std::string word = text(key, "");
  std::string list;
  for (size_t i = 0; i < names.size(); ++i) {
    if (word == names[i]) {
      return i;
    }
    list += i == 0 ? "" : ", ";
    list += names[i];
  }
  complain(key, "not one of " + list);
  return fallback;
}

std::vector<uint64_t> CardSection::numbers(const char* key, std::vector<uint64_t> fallback, uint64_t max) const {
  const cJSON* item = find(key);
  if (item == nullptr) {
    return fallback;
  }
  if (!cJSON_IsArray(item)) {
    return {number(key, 0, max)};
  }
  std::vector<uint64_t> values;
  for (const cJSON* element = item->child; element != nullptr; element = element->next) {
    std::optional<uint64_t> value = unsigned_value(element);
    if (!value || *value > max) {
      complain(key, "not an array of whole numbers from 0 to " + std::to_string(max));
      return fallback;
    }
    values.push_back(*value);
  }
  return values;
}

std::vector<std::string> CardSection::texts(const char* key, std::vector<std::string> fallback) const {
  const cJSON* item = find(key);
  if (item == nullptr) {
    return fallback;
  }
  std::vector<std::string> values;
  bool good = cJSON_IsArray(item) != 0;
  for (const cJSON* element = good ? item->child : nullptr; element != nullptr; element = element->next) {
    good = good && cJSON_IsString(element);
    values.emplace_back(good ? element->valuestring : "");
  }
  if (!good) {
    complain(key, "not an array of texts");
    return fallback;
  }
  return values;
}

CardSection CardSection::section(const char* key) const {
  const cJSON* item = find(key);
  if (item != nullptr && !cJSON_IsObject(item)) {
    complain(key, "not an object");
    item = nullptr;
  }
  return CardSection(file_, item, path_of(key));
}

std::vector<CardSection> CardSection::sections(const char* key) const {
  const cJSON* item = find(key);
  std::vector<CardSection> list;
  if (item == nullptr) {
    return list;
  }
  bool good = cJSON_IsArray(item) != 0;
  for (const cJSON* element = good ? item->child : nullptr; element != nullptr; element = element->next) {
    good = good && cJSON_IsObject(element);
    list.push_back(CardSection(file_, element, path_of(key) + "[" + std::to_string(list.size()) + "]"));
  }
  if (!good) {
    complain(key, "not an array of objects");
    list.clear();
  }
  return list;
}

std::vector<std::string> CardSection::keys() const {
  std::vector<std::string> names;
  for (const cJSON* item = object_ != nullptr ? object_->child : nullptr; item != nullptr; item = item->next) {
    if (strcmp(item->string, comment_key) != 0) {
      names.emplace_back(item->string);
    }
  }
  return names;
}

}  // namespace vcard
