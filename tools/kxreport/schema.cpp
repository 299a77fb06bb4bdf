// The schema follows the vocabulary: a definition for each group, which has the values that it may hold and no other.
#define RAPIDJSON_HAS_STDSTRING 1
#include <rapidjson/filewritestream.h>
#include <rapidjson/prettywriter.h>

#include "describe.h"

namespace {

using schema_writer = rapidjson::PrettyWriter<rapidjson::FileWriteStream>;

constexpr const char* IDS[] = {
#define KXREPORT_TERM(id, ...) #id,
#include "terms.inc"
#undef KXREPORT_TERM
};

const char* id_of(term what) {
  return IDS[static_cast<size_t>(what)];
}

bool is_required(term group, term child) {
  if (group == term::document) {
    return child == term::schema || child == term::program || child == term::command || child == term::time ||
           child == term::errors || child == term::status;
  }
  return term_get(child).kind == value_kind::label;
}

void string_member(schema_writer* json, const char* key, const std::string& text) {
  json->Key(key);
  json->String(text);
}

void type_write(schema_writer* json, const term_row& row) {
  switch (row.kind) {
    case value_kind::flag:
      return string_member(json, "type", "boolean");
    case value_kind::gauge:
      return string_member(json, "type", "integer");
    case value_kind::counter:
      string_member(json, "type", "integer");
      json->Key("minimum");
      json->Uint(0);
      json->Key("maximum");
      json->Uint64(UINT64_MAX);
      return;
    case value_kind::real:
      json->Key("type");
      json->StartArray();
      json->String("number");
      json->String("null");
      json->EndArray();
      return;
    case value_kind::word:
      string_member(json, "type", "string");
      return string_member(json, "pattern", "^0x[0-9a-f]+$");
    default:
      return string_member(json, "type", "string");
  }
}

void value_write(schema_writer* json, term what) {
  const term_row& row = term_get(what);
  json->StartObject();
  if (row.kind == value_kind::group) {
    string_member(json, "$ref", std::string("#/definitions/") + id_of(what));
  } else {
    string_member(json, "description", row.help);
    if (kind_has_children(row.kind)) {
      string_member(json, "type", "array");
      json->Key("items");
      value_write(json, row.children[0]);
    } else {
      type_write(json, row);
    }
  }
  json->EndObject();
}

void group_write(schema_writer* json, term what) {
  const term_row& row = term_get(what);
  string_member(json, "description", row.help);
  string_member(json, "type", "object");
  json->Key("properties");
  json->StartObject();
  for (const term child : row.children) {
    json->Key(term_json_name(child));
    value_write(json, child);
  }
  json->EndObject();
  json->Key("required");
  json->StartArray();
  for (const term child : row.children) {
    if (is_required(what, child)) {
      json->String(term_get(child).name);
    }
  }
  json->EndArray();
  json->Key("additionalProperties");
  json->Bool(false);
}

}  // namespace

void schema_print(FILE* out) {
  char buffer[4096];
  rapidjson::FileWriteStream stream(out, buffer, sizeof buffer);
  schema_writer json(stream);
  json.SetIndent(' ', 1);
  json.StartObject();
  string_member(&json, "$schema", "http://json-schema.org/draft-07/schema#");
  string_member(&json, "title", "kxreport, version 1");
  group_write(&json, term::document);
  json.Key("definitions");
  json.StartObject();
  for (uint16_t i = 1; i < static_cast<uint16_t>(term::count); ++i) {
    if (term_get(term{i}).kind == value_kind::group) {
      json.Key(id_of(term{i}));
      json.StartObject();
      group_write(&json, term{i});
      json.EndObject();
    }
  }
  json.EndObject();
  json.EndObject();
  stream.Put('\n');
  stream.Flush();
}
