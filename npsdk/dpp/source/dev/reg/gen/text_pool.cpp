#include "text_pool.h"

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
