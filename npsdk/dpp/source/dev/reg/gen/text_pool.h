// Names and texts in the generated sources.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

/// Zero-terminated texts one behind the other, equal texts once: one array.
class text_pool {
 public:
  /// The place of a text in the array.
  uint32_t add(const std::string& text);
  uint32_t size() const {
    return size_;
  }
  /// The definition of the array under the name `array`.
  std::string source(const std::string& array) const;

 private:
  std::vector<std::string> texts_;
  std::unordered_map<std::string, uint32_t> offsets_;
  uint32_t size_ = 0;
};

/// The definition of the index of `names` (dpp_reg/dpp_name_index.h), each with its place in the list as its number.
std::string name_slots_source(const std::string& array, const std::vector<std::string>& names);
