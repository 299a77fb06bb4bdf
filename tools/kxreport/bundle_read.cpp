#include "bundle_read.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include "common/unique_fd.h"

namespace {

constexpr std::string_view MEMBER = "report.json";
constexpr int MEMBERS_MAX = 64;
constexpr size_t BLOCK_SIZE = 16384;
constexpr size_t REPORT_MAX = 16 << 20;
constexpr size_t VALUES_MAX = 1 << 20;

struct archive_closer {
  void operator()(archive* one) const {
    archive_read_free(one);
  }
};
using archive_owner = std::unique_ptr<archive, archive_closer>;

archive_owner archive_new() {
  archive_owner in(archive_read_new());
  if (in != nullptr && archive_read_support_format_tar(in.get()) != ARCHIVE_OK) {
    in.reset();
  }
  return in;
}

// The size in a member's head may be any; what counts is what is there.
bool member_read(archive* in, std::string* text, std::string* why) {
  char block[BLOCK_SIZE];
  la_ssize_t length = 0;
  while ((length = archive_read_data(in, block, sizeof block)) > 0) {
    text->append(block, static_cast<size_t>(length));
    if (text->size() > REPORT_MAX) {
      *why = "its report is too large";
      return false;
    }
  }
  *why = "is damaged";
  return length == 0;
}

bool member_find(archive* in, std::string* text, std::string* why) {
  archive_entry* entry = nullptr;
  *why = "is no bundle";
  for (int i = 0; i < MEMBERS_MAX; ++i) {
    const int result = archive_read_next_header(in, &entry);
    if (result != ARCHIVE_OK && result != ARCHIVE_WARN) {
      return false;
    }
    const char* name = archive_entry_pathname(entry);
    if (name != nullptr && name == MEMBER && archive_entry_filetype(entry) == AE_IFREG) {
      return member_read(in, text, why);
    }
  }
  return false;
}

/// Builds the tree from what the parser meets. A value that has no place is passed over with all below it.
class tree_maker {
 public:
  using Ch = char;

  explicit tree_maker(value* root) : root_(root), builder_(root) {}

  bool Null() {
    return passed();
  }
  bool Bool(bool yes) {
    return number(value_kind::flag, value_kind::flag, yes ? 1 : 0);
  }
  bool Int(int value) {
    return Int64(value);
  }
  bool Int64(int64_t value) {
    return number(value_kind::gauge, value_kind::real, static_cast<uint64_t>(value));
  }
  bool Uint(unsigned value) {
    return Uint64(value);
  }
  bool Uint64(uint64_t value) {
    return number(value_kind::gauge, value_kind::counter, value);
  }
  bool Double(double value) {
    return number(value_kind::real, value_kind::real, std::bit_cast<uint64_t>(value));
  }
  bool RawNumber(const char*, rapidjson::SizeType, bool) {
    return passed();
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    const std::optional<term> what = place();
    if (what && kind_is_text(term_get(*what).kind)) {
      builder_.text(*what, {text, length});
    }
    return passed();
  }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    key_.reset();
    for (const term child : below_.empty() ? std::span<const term>() : term_get(below_.back()).children) {
      if (term_json_name(child) == std::string_view(text, length)) {
        key_ = child;
      }
    }
    return true;
  }
  bool StartObject() {
    return start(true);
  }
  bool EndObject(rapidjson::SizeType) {
    return end();
  }
  bool StartArray() {
    return start(false);
  }
  bool EndArray(rapidjson::SizeType) {
    return end();
  }

 private:
  /// The term of the value that comes, if it has a place.
  std::optional<term> place() const {
    if (skipped_ != 0 || below_.empty()) {
      return std::nullopt;
    }
    const term_row& row = term_get(below_.back());
    return row.kind == value_kind::group ? key_ : row.children[0];
  }
  bool number(value_kind one, value_kind other, uint64_t number) {
    const std::optional<term> what = place();
    if (what && (term_get(*what).kind == one || term_get(*what).kind == other)) {
      builder_.number(*what, number);
    }
    return passed();
  }
  bool passed() {
    key_.reset();
    return ++values_ <= VALUES_MAX;
  }
  bool start(bool object) {
    if (!begun_ && object) {
      begun_ = true;
      below_.push_back(root_->what);
      return true;
    }
    const std::optional<term> what = place();
    const value_kind kind = what ? term_get(*what).kind : value_kind::label;
    if (what && kind_has_children(kind) && (kind == value_kind::group) == object) {
      builder_.begin(*what);
      below_.push_back(*what);
    } else {
      ++skipped_;
    }
    return passed();
  }
  bool end() {
    if (skipped_ != 0) {
      --skipped_;
    } else {
      builder_.end();
      below_.pop_back();
    }
    key_.reset();
    return true;
  }

  value* root_;
  value_builder builder_;
  std::vector<term> below_;  // what is open, the innermost last
  std::optional<term> key_;
  bool begun_ = false;
  size_t skipped_ = 0;
  size_t values_ = 0;
};

// Without recursion: depth costs memory, of which the text has a limit, and no stack.
bool report_parse(const std::string& text, value* root, std::string* why) {
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::Reader reader;
  tree_maker maker(root);
  const rapidjson::ParseResult result =
      reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream, maker);
  const value* cards = root->find(term::cards);
  if (result.IsError()) {
    *why = "its report is damaged";
    return false;
  }
  if (cards == nullptr || cards->children.empty()) {
    *why = "its report tells of no card";
    return false;
  }
  return true;
}

}  // namespace

bool bundle_parse(std::string_view bytes, value* root, std::string* why) {
  const archive_owner in = archive_new();
  std::string text;
  *why = "is no bundle";
  return in != nullptr && archive_read_open_memory(in.get(), bytes.data(), bytes.size()) == ARCHIVE_OK &&
         member_find(in.get(), &text, why) && report_parse(text, root, why);
}

bool bundle_read(const char* path, value* root, std::string* why) {
  const kx_unique_fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info = {};
  if (!fd || fstat(fd.get(), &info) != 0) {
    *why = strerror(errno);
    return false;
  }
  const archive_owner in = archive_new();
  std::string text;
  *why = "is no bundle";
  return S_ISREG(info.st_mode) && in != nullptr && archive_read_open_fd(in.get(), fd.get(), BLOCK_SIZE) == ARCHIVE_OK &&
         member_find(in.get(), &text, why) && report_parse(text, root, why);
}
