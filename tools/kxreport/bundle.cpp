#include "bundle.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>

#include "card.h"
#include "common/unique_fd.h"
#include "views.h"

namespace {

constexpr const char* UPDATE_LOG = "/var/log/kxtool/kxtool_fw_upd.log";
constexpr size_t LOG_MAX = 1 << 18;  // its end is what counts

constexpr const char* README_TEXT =
    "A card as kxreport met it.\n"
    "\n"
    "  kxvcard --card THIS.tar -- kxtool diag ...   plays it back: the card of card.json\n"
    "  kxreport diff THIS.tar OTHER.tar             what differs between two\n"
    "\n"
    "report.json and report.txt  all that was read, for programs and for people\n"
    "card.json                   the same as a card file of the virtual card\n"
    "*.bin                       bytes as they were read: configuration space, product data, module\n"
    "update.log                  the end of the host's log of firmware updates\n"
    "left-out.txt                registers that were not read, because a read clears them\n";

/// The end of the log. Neither a planted link nor a pipe is followed.
std::string log_read() {
  const kx_unique_fd fd(open(UPDATE_LOG, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  const off_t size = fd ? lseek(fd.get(), 0, SEEK_END) : -1;
  std::string bytes(std::min<size_t>(size > 0 ? static_cast<size_t>(size) : 0, LOG_MAX), '\0');
  const ssize_t length =
      bytes.empty() ? 0 : pread(fd.get(), bytes.data(), bytes.size(), size - static_cast<off_t>(bytes.size()));
  bytes.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return bytes;
}

std::string shown(view_fn view, const value& root) {
  char* text = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&text, &size);
  if (out == nullptr) {
    return "";
  }
  view(root, out);
  fclose(out);
  std::string all(text, size);
  free(text);
  return all;
}

/// A line for each register that was not read.
std::string left_out_text() {
  std::string text = "# registers that a read clears; arrays of more than 64 elements are left out too\n";
  const auto add = [](void* self, const kxtools_unit_value& one) {
    *static_cast<std::string*>(self) += std::string(one.name) + '\n';
    return true;
  };
  for (const kxtools_unit* unit : units_all()) {
    unit->visit(kxtools_unit_list::cleared, add, &text);
  }
  return text;
}

std::string bytes_of(const value& card, term group, term what) {
  const value* parent = card.find(group);
  const value* word = parent == nullptr ? nullptr : parent->find(what);
  std::string bytes;
  for (size_t i = 2; word != nullptr && i + 1 < word->text.size(); i += 2) {
    bytes += static_cast<char>(strtoul(word->text.substr(i, 2).c_str(), nullptr, 16));
  }
  return bytes;
}

struct archive_closer {
  void operator()(archive* one) const {
    archive_write_free(one);
  }
};
struct entry_closer {
  void operator()(archive_entry* one) const {
    archive_entry_free(one);
  }
};

la_ssize_t on_write(archive*, void* stream, const void* bytes, size_t size) {
  return fwrite(bytes, 1, size, static_cast<FILE*>(stream)) == size ? static_cast<la_ssize_t>(size) : -1;
}

bool member_add(archive* out, const char* name, const std::string& bytes) {
  const std::unique_ptr<archive_entry, entry_closer> entry(archive_entry_new());
  archive_entry_set_pathname(entry.get(), name);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(bytes.size()));
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), 0644);
  archive_entry_set_mtime(entry.get(), time(nullptr), 0);
  return archive_write_header(out, entry.get()) == ARCHIVE_OK &&
         archive_write_data(out, bytes.data(), bytes.size()) == static_cast<la_ssize_t>(bytes.size());
}

// One after the other, so that only one of them is in memory.
bool members_add(archive* out, const value& root, const value& card) {
  return member_add(out, "README", README_TEXT) && member_add(out, "card.json", card_file_make(card)) &&
         member_add(out, "report.json", shown(view_json, root)) &&
         member_add(out, "report.txt", shown(view_text, root)) &&
         member_add(out, "config.bin", bytes_of(card, term::kernel, term::config_space)) &&
         member_add(out, "product-data.bin", bytes_of(card, term::raw, term::product_data)) &&
         member_add(out, "module.bin", bytes_of(card, term::raw, term::module_eeprom)) &&
         member_add(out, "update.log", log_read()) && member_add(out, "left-out.txt", left_out_text());
}

// Gone before the stream is: it writes once more when it ends.
bool archive_make(FILE* stream, const value& root, const value& card) {
  const std::unique_ptr<archive, archive_closer> out(archive_write_new());
  return out != nullptr && archive_write_set_format_ustar(out.get()) == ARCHIVE_OK &&
         archive_write_open(out.get(), stream, nullptr, on_write, nullptr) == ARCHIVE_OK &&
         members_add(out.get(), root, card) && archive_write_close(out.get()) == ARCHIVE_OK;
}

bundle_registers registers_count(const value& card) {
  bundle_registers count;
  const value* units = card.find(term::registers);
  for (size_t i = 0; units != nullptr && i < units->children.size(); ++i) {
    const value* registers = units->children[i].find(term::unit_registers);
    const value* left_out = units->children[i].find(term::left_out);
    count.kept += registers == nullptr ? 0 : static_cast<int64_t>(registers->children.size());
    count.left_out += left_out == nullptr ? 0 : left_out->gauge();
  }
  return count;
}

}  // namespace

bool bundle_open(const char* path, kx_result_file* file, std::string* why) {
  if (!file->open(path)) {
    *why = errno == EEXIST ? "is there and no regular file" : strerror(errno);
    return false;
  }
  return true;
}

bool bundle_write(const value& root, kx_result_file* file, bundle_registers* registers, std::string* why) {
  const value& one = root.find(term::cards)->children[0];
  const bool written = archive_make(file->stream(), root, one);
  // A write that failed leaves its reason to commit().
  if (ferror(file->stream()) == 0 && !written) {
    *why = "the archive cannot be made";
    return false;
  }
  if (!file->commit()) {
    *why = strerror(errno);
    return false;
  }
  *registers = registers_count(one);
  return true;
}
