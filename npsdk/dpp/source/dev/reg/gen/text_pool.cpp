#include "text_pool.h"

#include "dpp_reg/dpp_name_index.h"

uint32_t text_pool::add(const std::string& text) {
  const auto [found, added] = offsets_.try_emplace(text, size_);
  if (added) {
    texts_.push_back(text);
    size_ += static_cast<uint32_t>(text.size()) + 1;
  }
  return found->second;
}

std::string text_pool::source(const std::string& array) const {
  std::string out = "extern const char " + array + "[" + std::to_string(size_) + " + 1] =\n";
  for (const std::string& text : texts_) {
    out += "\"";
    for (const char c : text) {
      out += c == '\n' ? "\\n" : c == '\t' ? "\\t" : c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    out += "\\0\"\n";
  }
  return out + ";\n";
}

std::string name_slots_source(const std::string& array, const std::vector<std::string>& names) {
  std::vector<uint16_t> slots(DPP_NAME_SLOTS, DPP_NAME_SLOT_FREE);
  for (size_t i = 0; i < names.size(); ++i) {
    uint32_t slot = dpp_name_hash(names[i]) % DPP_NAME_SLOTS;
    while (slots[slot] != DPP_NAME_SLOT_FREE) {
      slot = (slot + 1) % DPP_NAME_SLOTS;
    }
    slots[slot] = static_cast<uint16_t>(i);
  }
  std::string out = "extern const dpp_name_slots " + array + " = {\n";
  for (size_t i = 0; i < slots.size(); ++i) {
    out += std::to_string(slots[i]) + (i % 16 == 15 ? ",\n" : ",");
  }
  return out + "};\n";
}
