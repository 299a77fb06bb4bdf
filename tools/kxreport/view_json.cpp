#define RAPIDJSON_HAS_STDSTRING 1
#include <rapidjson/prettywriter.h>

#include <cmath>

#include "views.h"

namespace {

/// The writer's end: characters go on to stdio, which has the buffer.
struct json_stream {
  using Ch = char;
  FILE* out;
  void Put(char c) {
    putc_unlocked(c, out);
  }
  void Flush() {}
};

using json_writer = rapidjson::PrettyWriter<json_stream>;

// Not UTF-8: each byte of it becomes the replacement character.
std::string utf8_text(std::string_view text) {
  constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";
  std::string good;
  while (!text.empty()) {
    const size_t length = utf8_prefix(text);
    good += text.substr(0, length);
    good += length < text.size() ? REPLACEMENT : "";
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return good;
}

void value_write(json_writer* json, const value& one);

void group_write(json_writer* json, const value& one) {
  json->StartObject();
  for (const value& child : one.children) {
    json->Key(term_json_name(child.what));
    value_write(json, child);
  }
  json->EndObject();
}

void list_write(json_writer* json, const value& one) {
  json->StartArray();
  for (const value& child : one.children) {
    value_write(json, child);
  }
  json->EndArray();
}

void value_write(json_writer* json, const value& one) {
  switch (one.row().kind) {
    case value_kind::group:
      return group_write(json, one);
    case value_kind::list:
    case value_kind::table:
      return list_write(json, one);
    case value_kind::flag:
      json->Bool(one.number != 0);
      return;
    case value_kind::gauge:
      json->Int64(one.gauge());
      return;
    case value_kind::counter:
      json->Uint64(one.number);
      return;
    case value_kind::real:
      // JSON has no word for what is no number.
      std::isfinite(one.real()) ? json->Double(one.real()) : json->Null();
      return;
    case value_kind::label:
    case value_kind::text:
    case value_kind::line:
    case value_kind::fault:
    case value_kind::word:
      json->String(utf8_text(one.text));
      return;
  }
}

}  // namespace

void view_json(const value& root, FILE* out) {
  json_stream stream = {out};
  json_writer json(stream);
  json.SetIndent(' ', 2);
  value_write(&json, root);
  putc_unlocked('\n', out);
}
