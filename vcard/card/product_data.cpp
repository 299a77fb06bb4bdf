#include "product_data.h"

#include <numeric>

namespace vcard {

namespace {

constexpr uint8_t identifier_tag = 0x82;
constexpr uint8_t read_only_tag = 0x90;
constexpr uint8_t end_tag = 0x78;

void resource_add(Bytes& data, uint8_t tag, const Bytes& content) {
  data.push_back(tag);
  data.push_back(static_cast<uint8_t>(content.size()));
  data.push_back(static_cast<uint8_t>(content.size() >> 8));
  data.insert(data.end(), content.begin(), content.end());
}

void field_add(Bytes& fields, const char* keyword, const std::string& text) {
  fields.insert(fields.end(), keyword, keyword + 2);
  fields.push_back(static_cast<uint8_t>(text.size()));
  fields.insert(fields.end(), text.begin(), text.end());
}

}  // namespace

Bytes product_data_load(CardFile& file) {
  CardSection section = file.section("product_data");
  CardSection information = file.section("information");
  std::string identifier = section.text("identifier", "Corvane data-processing card", 255);
  std::string part = section.text("part_number", information.text("part_number", "XXX BOARDTYPE", 31), 255);
  std::string serial = section.text("serial_number", information.text("serial_number", "KX2601A00042", 28), 255);
  std::string change = section.text("engineering_change", "A3", 255);
  bool checksum_wrong = section.flag("checksum_wrong", false);

  Bytes fields;
  field_add(fields, "PN", part);
  field_add(fields, "EC", change);
  field_add(fields, "SN", serial);
  field_add(fields, "RV", std::string(1, '\0'));
  Bytes data;
  resource_add(data, identifier_tag, Bytes(identifier.begin(), identifier.end()));
  resource_add(data, read_only_tag, fields);
  // The last byte so far makes the sum of all 0.
  data.back() = static_cast<uint8_t>(checksum_wrong - std::accumulate(data.begin(), data.end(), 0));
  data.push_back(end_tag);
  return section.bytes("bytes", data);
}

}  // namespace vcard
