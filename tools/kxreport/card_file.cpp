// The card file of a case: what differs from the healthy card that kxvcard is without one.
#define RAPIDJSON_HAS_STDSTRING 1
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cstdlib>

#include "bundle.h"
#include "common/card_memory.h"
#include "views.h"

namespace {

using file_writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

// Functions that the healthy card has; they make room for that of the case.
constexpr const char* PLACES[] = {"0000:3a:00.0", "0000:3b:00.0", "0000:3b:00.1", "0000:3b:01.0", "0000:00:1f.6"};

constexpr uint64_t QUEUE_ENGINE_SIZE = 0x410000;
constexpr uint64_t NP_SIZE = 0x2001000;
constexpr int REFUSED = -1;  // status of an answer that the card did not give

std::string hex_text(uint64_t number) {
  char text[24];
  snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
  return text;
}

void member(file_writer* json, const std::string& key, const std::string& text) {
  json->Key(key);
  json->String(text);
}

void member(file_writer* json, const std::string& key, int64_t number) {
  json->Key(key);
  json->Int64(number);
}

void flag_member(file_writer* json, const char* key, bool yes) {
  json->Key(key);
  json->Bool(yes);
}

void begin(file_writer* json, const std::string& key) {
  json->Key(key);
  json->StartObject();
}

const value* below(const value* group, term what) {
  return group == nullptr ? nullptr : group->find(what);
}

// The card file is UTF-8; what is not becomes '?'.
std::string text_of(const value* group, term what) {
  const value* one = below(group, what);
  return one == nullptr ? "" : one->row().kind == value_kind::word ? one->text : value_text(*one);
}

/// The digits of bytes, without what announces them.
std::string digits_of(const value* group, term what) {
  const std::string text = text_of(group, what);
  return text.empty() ? "" : text.substr(2);
}

void functions_write(file_writer* json, const value& card) {
  const std::string address = text_of(&card, term::address);
  const value* kernel = card.find(term::kernel);
  begin(json, "functions");
  for (const char* other : PLACES) {
    if (address != other) {
      begin(json, other);
      flag_member(json, "present", false);
      json->EndObject();
    }
  }
  begin(json, address);
  member(json, "kind", "physical");
  member(json, "interface", text_of(&card, term::device));
  member(json, "driver", text_of(kernel, term::kernel_driver));
  member(json, "vendor", text_of(kernel, term::vendor_id));
  member(json, "device", text_of(kernel, term::device_id));
  if (const std::string config = digits_of(kernel, term::config_space); !config.empty()) {
    begin(json, "config");
    member(json, "0x0", config);
    json->EndObject();
  }
  json->EndObject();
  json->EndObject();
}

void macs_write(file_writer* json, const value* macs) {
  if (macs == nullptr) {
    member(json, "mac_status", 1);
    return;
  }
  json->Key("macs");
  json->StartArray();
  for (const value& mac : macs->children) {
    json->String(value_text(mac));
  }
  json->EndArray();
}

void information_write(file_writer* json, const value& card) {
  const value* identity = card.find(term::identity);
  const value* temperature = card.find(term::temperature);
  begin(json, "information");
  if (below(identity, term::serial_number) != nullptr) {
    member(json, "serial_number", text_of(identity, term::serial_number));
  } else {
    member(json, "serial_number_status", REFUSED);
  }
  if (below(identity, term::part_number) != nullptr) {
    member(json, "part_number", text_of(identity, term::part_number));
  } else {
    member(json, "part_number_present", int64_t{0});
  }
  macs_write(json, below(identity, term::mac_addresses));
  json->Key(temperature == nullptr ? "temperature_statuses" : "temperatures");
  json->StartArray();
  json->Uint(temperature == nullptr ? 1 : static_cast<uint32_t>(temperature->number));
  json->EndArray();
  json->EndObject();
}

void firmware_write(file_writer* json, const value* firmware) {
  if (firmware == nullptr) {
    return;
  }
  const value* partition = firmware->find(term::partition);
  const value* allows = firmware->find(term::allows_update);
  begin(json, "update");
  member(json, "version", text_of(firmware, term::version));
  member(json, "partition", partition == nullptr ? 0 : partition->gauge());
  flag_member(json, "authorises", allows != nullptr && allows->number != 0);
  json->EndObject();
}

uint64_t byte_at(const std::string& digits, size_t place) {
  return strtoull(digits.substr(2 * place, 2).c_str(), nullptr, 16);
}

// Eight bytes a record, as kxtools_compat_record has them.
void bar_write(file_writer* json, const value* raw) {
  constexpr size_t RECORD_SIZE = 8;
  const std::string digits = digits_of(raw, term::compat_records);
  if (digits.empty()) {
    return;
  }
  begin(json, "bar0");
  member(json, "feature_word", text_of(raw, term::feature_word));
  begin(json, "compat");
  for (size_t id = 0; 2 * RECORD_SIZE * (id + 1) <= digits.size(); ++id) {
    const size_t at = RECORD_SIZE * id;
    begin(json, std::to_string(id));
    member(json, "item", static_cast<int64_t>(byte_at(digits, at)));
    member(json, "major", static_cast<int64_t>(byte_at(digits, at + 1)));
    member(json, "fw_minor", static_cast<int64_t>(byte_at(digits, at + 2)));
    member(json, "drv_minor", static_cast<int64_t>(byte_at(digits, at + 3)));
    member(json, "extra", static_cast<int64_t>(byte_at(digits, at + 4) | byte_at(digits, at + 5) << 8));
    json->EndObject();
  }
  json->EndObject();
  json->EndObject();
}

void module_write(file_writer* json, const value& card) {
  constexpr uint64_t SFP = 0x03;
  constexpr uint64_t CMIS_FIRST = 0x18;
  const std::string device = text_of(&card, term::device);
  if (device.empty()) {
    return;
  }
  const std::string eeprom = digits_of(card.find(term::raw), term::module_eeprom);
  begin(json, "modules");
  begin(json, device);
  if (eeprom.empty()) {
    flag_member(json, "absent", true);
  } else {
    const uint64_t identifier = byte_at(eeprom, 0);
    member(json, "kind", identifier == SFP ? "sfp" : identifier >= CMIS_FIRST ? "cmis" : "qsfp");
    begin(json, "bytes");
    member(json, "0x0", eeprom);
    json->EndObject();
  }
  json->EndObject();
  json->EndObject();
}

struct memory_word {
  uint64_t address;
  uint32_t word;
};

/// Adds the 32-bit words of a unit's registers. What lies behind a window has no address.
void words_add(const value& unit, bool low_first, std::vector<memory_word>* all) {
  const value* registers = unit.find(term::unit_registers);
  for (size_t i = 0; registers != nullptr && i < registers->children.size(); ++i) {
    const value& one = registers->children[i];
    const uint64_t address = strtoull(text_of(&one, term::place).c_str(), nullptr, 16);
    const std::string digits = digits_of(&one, term::word);
    const size_t words = digits.size() / 8;
    for (size_t word = 0; address != 0 && word < words; ++word) {
      const size_t place = low_first ? words - 1 - word : word;
      const auto number = static_cast<uint32_t>(strtoull(digits.substr(8 * place, 8).c_str(), nullptr, 16));
      all->push_back({address + 4 * word, number});
    }
  }
}

/// All words of card memory that were read, by address; registers may overlap.
std::vector<memory_word> words_of(const value& card) {
  std::vector<memory_word> all;
  const value* units = card.find(term::registers);
  for (size_t i = 0; units != nullptr && i < units->children.size(); ++i) {
    const std::string name = text_of(&units->children[i], term::unit);
    if (name != "pcie") {
      words_add(units->children[i], name == "vqm", &all);
    }
  }
  std::stable_sort(all.begin(), all.end(), [](auto& a, auto& b) { return a.address < b.address; });
  all.erase(std::unique(all.begin(), all.end(), [](auto& a, auto& b) { return a.address == b.address; }), all.end());
  return all;
}

/// Those from `first` on, `size` bytes of them, by their offset from `base`.
void words_write(file_writer* json, const std::vector<memory_word>& words, const char* key, uint64_t first,
                 uint64_t size, uint64_t base) {
  begin(json, key);
  for (const memory_word& one : words) {
    if (one.address >= first && one.address - first < size) {
      json->Key(hex_text(one.address - base));
      json->Uint(one.word);
    }
  }
  json->EndObject();
}

void registers_write(file_writer* json, const value& card) {
  const std::vector<memory_word> words = words_of(card);
  begin(json, "queue_engine");
  for (const memory_word& one : words) {
    if (one.address == KX_CARD_VQM || one.address == KX_CARD_VQM + 4) {
      member(json, one.address == KX_CARD_VQM ? "version" : "date", int64_t{one.word});
    }
  }
  words_write(json, words, "registers", KX_CARD_VQM, QUEUE_ENGINE_SIZE, KX_CARD_VQM);
  json->EndObject();
  begin(json, "network_processor");
  words_write(json, words, "registers", KX_CARD_NP, NP_SIZE, KX_CARD_NP);
  json->EndObject();
  words_write(json, words, "memory", KX_CARD_VQM + QUEUE_ENGINE_SIZE, KX_CARD_NP - KX_CARD_VQM - QUEUE_ENGINE_SIZE, 0);
}

}  // namespace

std::string card_file_make(const value& card) {
  const value* raw = card.find(term::raw);
  rapidjson::StringBuffer buffer;
  file_writer json(buffer);
  json.SetIndent(' ', 1);
  json.StartObject();
  member(&json, "comment", "a card as kxreport met it");
  functions_write(&json, card);
  information_write(&json, card);
  firmware_write(&json, card.find(term::firmware));
  bar_write(&json, raw);
  begin(&json, "product_data");
  member(&json, "bytes", digits_of(raw, term::product_data));
  json.EndObject();
  module_write(&json, card);
  registers_write(&json, card);
  json.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}
