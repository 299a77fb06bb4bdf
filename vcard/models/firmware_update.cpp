// The management processor's side of a firmware update: authorisation, erase, write, read back and the closing copy,
// each answered at once and finished later by a notice.
//
// The flash holds two partitions. The processor runs from one; only the partition that the package header was sent for
// can be erased and written, and a header for offset 0 means the partition that does not run. Addresses in a package
// are those of the partition that it was made for: they are moved to the partition that was opened.

#include <algorithm>
#include <string_view>

#include "flash.h"
#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

// First byte of a request. Erase, data and read-back add the image's number, 0 to 32: the last number of one is the
// first of the next, so these three are told apart by their shape too.
constexpr uint8_t statistics_request = 1;
constexpr uint8_t old_authorisation_request = 18;
constexpr uint8_t header_request = 19;
constexpr uint8_t end_request = 22;
constexpr uint8_t authorisation_request = 28;
constexpr uint8_t erase_request = 0x20;
constexpr uint8_t data_request = 0x40;
constexpr uint8_t read_back_request = 0x60;

constexpr size_t authorisation_length = 65;
constexpr size_t authorisation_reply_length = 78;
constexpr size_t authorisation_version = 2;
constexpr size_t authorisation_version_length = 64;
constexpr size_t authorisation_partition = 66;
constexpr size_t erase_length = 208;
constexpr size_t erase_path = 12;
constexpr size_t read_back_length = 13;
constexpr size_t end_length = 5;
constexpr size_t data_start = 8;
constexpr size_t most_data = 2028;

// Package header, as it is sent.
constexpr size_t header_count = 68;
constexpr size_t header_table = 72;
constexpr size_t header_row = 12;
constexpr uint32_t most_images = 33;

// Notices.
constexpr uint32_t notice_op_code = 2;
constexpr size_t notice_length = 32;
constexpr size_t notice_command = 12;
constexpr size_t notice_status = 13;
constexpr size_t notice_partition = 16;
constexpr size_t notice_sum_sent = 24;
constexpr size_t notice_sum_read = 28;
constexpr uint8_t read_back_notice = 2;
constexpr uint8_t success_notice = 3;
constexpr uint8_t header_notice = 4;
constexpr uint8_t write_notice = 23;
constexpr uint8_t status_erased = 1;
constexpr uint8_t status_erase_failed = 2;
constexpr uint8_t status_header_written = 3;
constexpr uint8_t status_write_failed = 4;
constexpr uint8_t status_umount_failed = 12;

constexpr int32_t nobody_listens = 18;

struct Partition {
  uint64_t start;
  uint64_t end;
};
constexpr Partition partitions[] = {{0x40000, 0x3300000}, {0x3300000, 0x65c0000}};

class FirmwareUpdate {
 public:
  FirmwareUpdate(Card& card) : card_(card) {
    load(card.file().section("update"));
    load_faults(card.file().section("faults").section("update"));
    card.processor().on_event(update_event, [this](ByteView request, Bytes& reply) { return answer(request, reply); });
    card.on_create([this] {
      const std::string& folder = card_.folders().state;
      if (!flash_.create(folder.empty() ? "" : folder + "/flash")) {
        card_.log().line("flash error=cannot_be_created");
      }
    });
  }

 private:
  struct Statistics {
    uint32_t erase_errors, write_errors, read_errors, callbacks, queued, dequeued, most_backlog;
    uint32_t received, sent, send_errors;
  };

  void load(const CardSection& section) {
    version_ = section.text("version", "TARN-FW-BOARDTYPE-1.0.0", authorisation_version_length);
    running_ = static_cast<uint32_t>(section.number("partition", 1, UINT32_MAX));
    authorises_ = section.flag("authorises", true);
    header_time_ = time(section, "header_ms", 1);
    erase_time_ = time(section, "erase_ms", 20);
    read_back_time_ = time(section, "read_back_ms", 20);
    end_time_ = time(section, "end_ms", 20);
  }

  void load_faults(const CardSection& section) {
    static constexpr const char* notices[] = {"none", "erase", "read_back", "end"};
    old_request_only_ = section.flag("old_request_only", false);
    erase_fails_ = section.number("erase_fails", 0);
    write_fails_ = section.number("write_fails", 0);
    sum_wrong_ = section.number("sum_wrong", 0);
    umount_fails_ = section.flag("umount_fails", false);
    notice_lost_ = notices[section.choice("notice_lost", 0, notices)];
    notice_garbage_ = section.flag("notice_garbage", false);
  }

  static std::chrono::milliseconds time(const CardSection& section, const char* key, uint64_t fallback) {
    return std::chrono::milliseconds(section.number(key, fallback, 3600000));
  }

  int32_t answer(ByteView request, Bytes& reply) {
    ++statistics_.received;
    const uint8_t kind = request.empty() ? 0 : request[0];
    if (kind == authorisation_request || kind == old_authorisation_request) {
      return authorise(request, reply);
    }
    if (kind == statistics_request) {
      return tell_statistics(reply);
    }
    reply.assign(1, 0);
    if (kind == header_request) {
      take_header(request);
    } else if (kind == end_request) {
      end(request);
    } else if (is_of(kind, erase_request) && request.size() == erase_length && get_le<uint16_t>(request, 2) == 0) {
      erase(request);
    } else if (is_of(kind, read_back_request) && request.size() == read_back_length) {
      read_back(request);
    } else if (is_of(kind, data_request)) {
      take_data(request);
    } else {
      return nobody_listens;
    }
    return 0;
  }

  static bool is_of(uint8_t kind, uint8_t first) {
    return kind >= first && kind - first < static_cast<int>(most_images);
  }

  /// A new update begins; what an earlier one left behind no longer counts.
  int32_t authorise(ByteView request, Bytes& reply) {
    if (request.size() != authorisation_length || (old_request_only_ && request[0] == authorisation_request)) {
      return nobody_listens;
    }
    ++session_;
    open_ = {};
    erased_ = {};
    reply.resize(authorisation_reply_length);
    reply[1] = authorises_ ? 1 : 0;
    std::copy(version_.begin(), version_.end(), reply.begin() + authorisation_version);
    put_le(reply, authorisation_partition, running_);
    Bytes notice = make_notice(request[0], 0);
    put_le(notice, notice_partition, running_);
    send(notice);
    return 0;
  }

  int32_t tell_statistics(Bytes& reply) const {
    const Statistics& s = statistics_;
    for (uint32_t count : {s.erase_errors, s.write_errors, s.read_errors, s.callbacks, s.queued, s.dequeued,
                           s.most_backlog, s.received, s.sent, s.send_errors}) {
      put_le(reply, reply.size(), count);
    }
    return 0;
  }

  void take_header(ByteView request) {
    const uint32_t length = get_le<uint16_t>(request, 2);
    const uint32_t offset = get_le<uint32_t>(request, 4);
    const ByteView header = request.subspan(std::min(data_start, request.size()));
    const Partition* target = target_of(offset);
    if (!authorises_ || header.size() != length || target == nullptr) {
      return refuse(status_write_failed, &statistics_.write_errors);
    }
    open_ = *target;
    made_for_ = made_for(header);
    erased_ = {};
    flash_.erase(open_.start, header.size());
    flash_.write(open_.start, header);
    later(header_time_, [this] { send(make_notice(header_notice, status_header_written)); });
  }

  const Partition* target_of(uint32_t offset) const {
    if (offset == 0) {
      return &partitions[running_ == 1 ? 1 : 0];
    }
    const auto* found = std::find_if(std::begin(partitions), std::end(partitions),
                                     [&](const Partition& p) { return p.start == offset; });
    return found == std::end(partitions) ? nullptr : found;
  }

  /// Where the addresses of a package begin: the last place that no image lies below.
  static uint64_t made_for(ByteView header) {
    uint64_t lowest = UINT64_MAX;
    const uint32_t count = std::min(get_le<uint32_t>(header, header_count), most_images);
    for (uint32_t i = 0; i < count; ++i) {
      lowest = std::min<uint64_t>(lowest, get_le<uint32_t>(header, header_table + i * header_row));
    }
    uint64_t start = 0;
    for (const Partition& partition : partitions) {
      start = partition.start <= lowest ? partition.start : start;
    }
    return start;
  }

  /// The flash address of a package address; false when the bytes do not lie in the opened partition.
  bool place(uint32_t offset, uint64_t length, uint64_t* address) const {
    if (offset < made_for_) {
      return false;
    }
    *address = open_.start + (offset - made_for_);
    return *address <= open_.end && length <= open_.end - *address;
  }

  void erase(ByteView request) {
    const uint32_t offset = get_le<uint32_t>(request, 4);
    const uint64_t size = get_le<uint32_t>(request, 8);
    const std::string path = "/dev/mtd" + std::to_string(request[1]);
    const ByteView text = request.subspan(erase_path);
    uint64_t address = 0;
    if (offset % Flash::block_size != 0 || !place(offset, size, &address) ||
        !std::equal(path.begin(), path.end(), text.begin()) || text[path.size()] != 0) {
      return refuse(status_erase_failed, &statistics_.erase_errors);
    }
    try_erase(address, (size + 3) / 4 * 4);
  }

  /// The processor tries an erase that failed again by itself.
  void try_erase(uint64_t address, uint64_t size) {
    later(erase_time_, [this, address, size] {
      if (umount_fails_) {
        return refuse(status_umount_failed, &statistics_.erase_errors);
      }
      if (erase_fails_ > 0) {
        --erase_fails_;
        refuse(status_erase_failed, &statistics_.erase_errors);
        return try_erase(address, size);
      }
      flash_.erase(address, size);
      erased_ = {address, address + size};
      ++statistics_.callbacks;
      if (notice_lost_ != "erase") {
        send(make_notice(write_notice, status_erased));
      }
    });
  }

  void take_data(ByteView request) {
    const uint32_t length = get_le<uint16_t>(request, 2);
    const ByteView data = request.subspan(std::min(data_start, request.size()));
    uint64_t address = 0;
    if (data.size() != length || length > most_data || length % 4 != 0 ||
        !place(get_le<uint32_t>(request, 4), length, &address) || address < erased_.start ||
        address + length > erased_.end) {
      return refuse(status_write_failed, &statistics_.write_errors);
    }
    if (write_fails_ > 0) {
      --write_fails_;
      refuse(status_write_failed, &statistics_.write_errors);
    }
    ++statistics_.queued;
    ++statistics_.dequeued;
    statistics_.most_backlog = 1;
    flash_.write(address, data);
  }

  void read_back(ByteView request) {
    const uint32_t size = get_le<uint32_t>(request, 5);
    const uint32_t sum_sent = get_le<uint32_t>(request, 9);
    uint64_t address = 0;
    if (!place(get_le<uint32_t>(request, 1), size, &address)) {
      return refuse(status_write_failed, &statistics_.read_errors);
    }
    later(read_back_time_, [this, address, size, sum_sent] {
      uint32_t sum = flash_.sum(address, size);
      if (sum_wrong_ > 0) {
        --sum_wrong_;
        ++statistics_.read_errors;
        sum = ~sum;
      }
      Bytes notice = make_notice(read_back_notice, 0);
      put_le(notice, notice_sum_sent, sum_sent);
      put_le(notice, notice_sum_read, sum);
      if (notice_lost_ != "read_back") {
        send(notice);
      }
    });
  }

  void end(ByteView request) {
    if (request.size() != end_length || open_.end == 0) {
      return refuse(status_write_failed, &statistics_.write_errors);
    }
    card_.log().line("update_end file_size=%u", get_le<uint32_t>(request, 1));
    later(end_time_, [this] {
      open_ = {};
      if (notice_lost_ != "end") {
        send(make_notice(success_notice, 0));
      }
    });
  }

  void refuse(uint8_t status, uint32_t* count) {
    ++*count;
    send(make_notice(write_notice, status));
  }

  /// Work of this update; it is forgotten when the next one begins.
  void later(std::chrono::milliseconds delay, std::function<void()> work) {
    card_.schedule(delay, [this, session = session_, work = std::move(work)] {
      if (session == session_) {
        work();
      }
    });
  }

  static Bytes make_notice(uint8_t command, uint8_t status) {
    Bytes notice(notice_length);
    put_le(notice, 0, notice_op_code);
    notice[notice_command] = command;
    notice[notice_status] = status;
    return notice;
  }

  void send(const Bytes& notice) {
    if (notice_garbage_) {
      send_garbage();
    }
    ++statistics_.sent;
    card_.processor().notify(notice);
  }

  /// Notices that an update must survive: cut ones, unknown commands, a success that nobody asked for.
  void send_garbage() {
    for (size_t length : {size_t{4}, notice_command, notice_command + 1, notice_partition, notice_sum_read}) {
      Bytes cut = make_notice(read_back_notice, 0xff);
      cut.resize(length);
      card_.processor().notify(cut);
    }
    card_.processor().notify(make_notice(success_notice, 0));
    card_.processor().notify(make_notice(0xee, 0xee));
    card_.processor().notify(make_notice(write_notice, 0xee));
    Bytes longest = make_notice(0, 0);
    longest.resize(2036, 0xa5);
    card_.processor().notify(longest);
  }

  Card& card_;
  Flash flash_;
  Statistics statistics_ = {};

  std::string version_;
  uint32_t running_ = 1;
  bool authorises_ = true;
  std::chrono::milliseconds header_time_{};
  std::chrono::milliseconds erase_time_{};
  std::chrono::milliseconds read_back_time_{};
  std::chrono::milliseconds end_time_{};

  bool old_request_only_ = false;
  uint64_t erase_fails_ = 0;
  uint64_t write_fails_ = 0;
  uint64_t sum_wrong_ = 0;
  bool umount_fails_ = false;
  std::string_view notice_lost_;
  bool notice_garbage_ = false;

  uint64_t session_ = 0;
  Partition open_ = {};    // may be erased and written; empty without a header
  uint64_t made_for_ = 0;  // where the package's addresses begin
  Partition erased_ = {};  // may be written
};

}  // namespace

void firmware_update_attach(Card& card) {
  card.own(std::make_unique<FirmwareUpdate>(card));
}

}  // namespace vcard
