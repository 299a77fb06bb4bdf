// The card file: a JSON document that says what the virtual card is and what it does wrong.
//
// Every value has a default, so an empty file is a healthy card. Who needs a value asks its section for it by key. A
// key that nobody asked for, a value of the wrong type and a number out of range are complaints, one line each with the
// path of the value ("faults.mailbox.silnt: unknown key"): a misspelt fault must not silently test nothing. The key
// "comment" is free in every section.
//
// A number is a JSON number or, for the full 64 bits, a text: "0x6208000000", "12".
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vcard/bytes.h"

struct cJSON;

namespace vcard {

class CardFile;

/// One JSON object of the card file, or the absence of one: then every getter returns its fallback. Getters that find
/// an unusable value complain to the file and return the fallback. Valid as long as the CardFile.
class CardSection {
 public:
  bool has(const char* key) const;

  uint64_t number(const char* key, uint64_t fallback, uint64_t max = UINT64_MAX) const;
  int64_t signed_number(const char* key, int64_t fallback, int64_t min, int64_t max) const;
  bool flag(const char* key, bool fallback) const;
  /// Complains about a text longer than `max_length` bytes.
  std::string text(const char* key, std::string_view fallback, size_t max_length = 4096) const;
  /// Bytes written as hexadecimal digits, blanks and ':' between them allowed.
  Bytes bytes(const char* key, ByteView fallback, size_t max_length = 65536) const;
  /// The position of the text among `names`.
  size_t choice(const char* key, size_t fallback, std::span<const char* const> names) const;

  /// An array of numbers; a single number is an array of one.
  std::vector<uint64_t> numbers(const char* key, std::vector<uint64_t> fallback, uint64_t max = UINT64_MAX) const;
  std::vector<std::string> texts(const char* key, std::vector<std::string> fallback) const;

  /// A nested object; absent gives an empty section.
  CardSection section(const char* key) const;
  /// An array of objects; absent gives none.
  std::vector<CardSection> sections(const char* key) const;
  /// All keys of this object in order, "comment" left out, for sections whose keys are data (addresses for example).
  std::vector<std::string> keys() const;

  /// Refuses the value of `key` for a reason that only its reader knows; an empty key refuses the section itself.
  void complain(std::string_view key, std::string_view reason) const;

 private:
  friend class CardFile;
  CardSection(CardFile* file, const cJSON* object, std::string path);
  const cJSON* find(const char* key) const;
  std::string path_of(std::string_view key) const;

  CardFile* file_;
  const cJSON* object_;
  std::string path_;
};

class CardFile {
 public:
  /// A healthy card: all defaults.
  CardFile();
  /// Parses `text`; a syntax error is a complaint naming line and column.
  explicit CardFile(std::string_view text);
  ~CardFile();
  CardFile(const CardFile&) = delete;
  CardFile& operator=(const CardFile&) = delete;

  CardSection root();
  /// Short for root().section(key).
  CardSection section(const char* key);

  /// Everything that is wrong, one line each, unread keys included: call it when all models are attached.
  std::vector<std::string> complaints() const;

 private:
  friend class CardSection;
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vcard
