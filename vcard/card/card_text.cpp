#include "vcard/card_text.h"

#include <archive.h>
#include <archive_entry.h>

#include <memory>

namespace vcard {

namespace {

constexpr size_t tar_mark_at = 257;
constexpr std::string_view tar_mark = "ustar";
constexpr std::string_view member_name = "card.json";
constexpr size_t most_members = 64;
constexpr size_t largest_text = 16 << 20;

struct ArchiveCloser {
  void operator()(archive* reader) const {
    archive_read_free(reader);
  }
};
using Archive = std::unique_ptr<archive, ArchiveCloser>;

std::string reason_of(const Archive& reader) {
  const char* reason = archive_error_string(reader.get());
  return reason != nullptr ? std::string("the archive is broken: ") + reason : "the archive is broken";
}

/// The size in a member's head may be any; what counts is what is there.
std::string member_read(const Archive& reader, std::string& text) {
  char block[16384];
  la_ssize_t length;
  while ((length = archive_read_data(reader.get(), block, sizeof block)) > 0) {
    text.append(block, static_cast<size_t>(length));
    if (text.size() > largest_text) {
      return "card.json in the archive is too large";
    }
  }
  return length < 0 ? reason_of(reader) : "";
}

}  // namespace

std::string card_text_find(std::string_view bytes, std::string& text) {
  if (bytes.size() < tar_mark_at + tar_mark.size() || bytes.substr(tar_mark_at, tar_mark.size()) != tar_mark) {
    text = bytes;
    return "";
  }
  const Archive reader(archive_read_new());
  if (reader == nullptr || archive_read_support_format_tar(reader.get()) != ARCHIVE_OK ||
      archive_read_open_memory(reader.get(), bytes.data(), bytes.size()) != ARCHIVE_OK) {
    return "the archive cannot be read";
  }
  archive_entry* entry = nullptr;
  for (size_t i = 0; i < most_members; ++i) {
    const int result = archive_read_next_header(reader.get(), &entry);
    if (result == ARCHIVE_EOF) {
      break;
    }
    if (result != ARCHIVE_OK && result != ARCHIVE_WARN) {
      return reason_of(reader);
    }
    const char* name = archive_entry_pathname(entry);
    if (name != nullptr && name == member_name && archive_entry_filetype(entry) == AE_IFREG) {
      return member_read(reader, text);
    }
  }
  return "there is no card.json in the archive";
}

}  // namespace vcard
