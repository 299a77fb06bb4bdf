// What the card knows of itself: identity, temperatures, compatibility records, and the requests that ask for them.

#include <algorithm>
#include <array>
#include <numeric>

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

constexpr uint32_t os_type_op = 0;
constexpr uint32_t mac_op = 9;
constexpr uint32_t serial_number_op = 15;
constexpr uint32_t temperature_op = 18;
constexpr uint32_t part_number_op = 21;

constexpr size_t serial_number_reply_length = 29;
constexpr size_t part_number_reply_length = 33;
constexpr size_t temperature_reply_length = 24;
constexpr size_t mac_length = 6;
constexpr size_t mac_reply_length = 68;
constexpr size_t bar_offset_reply_length = 16;

// BAR 0 offsets.
constexpr size_t layout_byte_offset = 0x1001;
constexpr size_t feature_word_offset = 0x1006;
constexpr size_t compat_records_offset = 0x5400;
constexpr size_t compat_record_count = 10;
constexpr size_t compat_record_size = 8;

class Information {
 public:
  Information(Card& card) : card_(card) {
    CardSection section = card.file().section("information");
    load_identity(section);
    load_bar_data(card.file().section("bar0"));
    register_requests();
    card.on_create([this] { fill_bar(); });
  }

 private:
  void load_identity(const CardSection& section) {
    serial_number_ = section.text("serial_number", "KX2601A00042", 28);
    serial_number_status_ = static_cast<int8_t>(section.signed_number("serial_number_status", 0, -128, 127));
    part_number_ = section.text("part_number", "XXX BOARDTYPE", 31);
    part_number_status_ = static_cast<int8_t>(section.signed_number("part_number_status", 0, -128, 127));
    part_number_present_ = static_cast<uint8_t>(section.number("part_number_present", 1, 255));
    macs_ = section.texts("macs", {"02:1c:f2:00:00:01", "02:1c:f2:00:00:02", "02:1c:f2:00:00:03"});
    mac_count_ = static_cast<uint16_t>(section.number("mac_count", macs_.size(), UINT16_MAX));
    mac_status_ = static_cast<uint32_t>(section.number("mac_status", 0, UINT32_MAX));
    for (const std::string& mac : macs_) {
      std::optional<Bytes> bytes = hex_bytes(mac);
      if (!bytes || bytes->size() != mac_length) {
        section.complain("macs", "'" + mac + "' is not six bytes");
        continue;
      }
      mac_bytes_.insert(mac_bytes_.end(), bytes->begin(), bytes->end());
    }
    temperatures_ = section.numbers("temperatures", {45}, UINT32_MAX);
    if (temperatures_.empty()) {
      section.complain("temperatures", "empty");
      temperatures_ = {0};
    }
    temperature_statuses_ = section.numbers("temperature_statuses", {0}, UINT32_MAX);
    if (temperature_statuses_.empty()) {
      section.complain("temperature_statuses", "empty");
      temperature_statuses_ = {0};
    }
    os_type_ = static_cast<uint16_t>(section.number("os_type", 0, UINT16_MAX));
    os_type_status_ = static_cast<uint16_t>(section.number("os_type_status", 0, UINT16_MAX));
    wrong_check_word_ = section.flag("wrong_check_word", false);
    bar_offset_ = static_cast<uint32_t>(section.number("bar_offset", 0xf0f000, UINT32_MAX));
    bar_offset_length_ = static_cast<uint32_t>(section.number("bar_offset_length", 0x1000, UINT32_MAX));
    wrong_token_ = section.flag("wrong_bar_offset_token", false);
  }

  void load_bar_data(const CardSection& section) {
    layout_byte_ = static_cast<uint8_t>(section.number("layout_byte", 0, 255));
    feature_word_ = section.number("feature_word", 0);
    for (size_t id = 0; id < compat_record_count; ++id) {
      compat_[id][0] = static_cast<uint8_t>(id + 1);
    }
    CardSection records = section.section("compat");
    for (const std::string& key : records.keys()) {
      if (key.size() != 1 || key[0] < '0' || key[0] > '9') {
        records.complain(key, "not a record number from 0 to 9");
        continue;
      }
      size_t id = static_cast<size_t>(key[0] - '0');
      CardSection record = records.section(key.c_str());
      bool present = record.flag("present", true);
      compat_[id][0] = static_cast<uint8_t>(record.number("item", present ? id + 1 : 0, 255));
      compat_[id][1] = static_cast<uint8_t>(record.number("major", 0, 255));
      compat_[id][2] = static_cast<uint8_t>(record.number("fw_minor", 0, 255));
      compat_[id][3] = static_cast<uint8_t>(record.number("drv_minor", 0, 255));
      uint16_t extra = static_cast<uint16_t>(record.number("extra", 0, UINT16_MAX));
      compat_[id][4] = static_cast<uint8_t>(extra);
      compat_[id][5] = static_cast<uint8_t>(extra >> 8);
    }
  }

  void fill_bar() {
    std::span<uint8_t> bar = card_.bar0().bytes();
    auto put = [&](size_t offset, ByteView bytes) {
      if (offset + bytes.size() <= bar.size()) {
        std::copy(bytes.begin(), bytes.end(), bar.begin() + static_cast<std::ptrdiff_t>(offset));
      }
    };
    put(layout_byte_offset, {&layout_byte_, 1});
    Bytes feature;
    put_le(feature, 0, feature_word_);
    put(feature_word_offset, feature);
    for (size_t id = 0; id < compat_record_count; ++id) {
      put(compat_records_offset + id * compat_record_size, compat_[id]);
    }
  }

  void register_requests() {
    ManagementProcessor& processor = card_.processor();
    processor.on_op(os_type_op, [this](ByteView request, Bytes& reply) { return answer_os_type(request, reply); });
    processor.on_op(mac_op, [this](ByteView, Bytes& reply) { return answer_macs(reply); });
    processor.on_op(serial_number_op, [this](ByteView, Bytes& reply) { return answer_serial_number(reply); });
    processor.on_op(temperature_op, [this](ByteView, Bytes& reply) { return answer_temperature(reply); });
    processor.on_op(part_number_op, [this](ByteView, Bytes& reply) { return answer_part_number(reply); });
    processor.on_event(bar_offset_event,
                       [this](ByteView request, Bytes& reply) { return answer_bar_offset(request, reply); });
  }

  int32_t answer_os_type(ByteView request, Bytes& reply) const {
    uint32_t check_word = get_le<uint32_t>(request, 4);
    put_le<uint16_t>(reply, 0, os_type_status_);
    put_le<uint16_t>(reply, 2, os_type_);
    put_le<uint32_t>(reply, 4, wrong_check_word_ ? ~check_word : check_word);
    return 0;
  }

  int32_t answer_macs(Bytes& reply) const {
    put_le<uint32_t>(reply, 0, mac_status_);
    put_le<uint16_t>(reply, 4, mac_count_);
    reply.insert(reply.end(), mac_bytes_.begin(), mac_bytes_.end());
    reply.resize(mac_reply_length);
    return 0;
  }

  int32_t answer_serial_number(Bytes& reply) const {
    reply.resize(serial_number_reply_length);
    reply[0] = static_cast<uint8_t>(serial_number_status_);
    std::copy(serial_number_.begin(), serial_number_.end(), reply.begin() + 1);
    return 0;
  }

  int32_t answer_temperature(Bytes& reply) {
    size_t reading = temperature_readings_++;
    reply.resize(temperature_reply_length);
    put_le(reply, 0, static_cast<uint32_t>(temperature_statuses_[std::min(reading, temperature_statuses_.size() - 1)]));
    put_le(reply, 4, static_cast<uint32_t>(temperatures_[std::min(reading, temperatures_.size() - 1)]));
    return 0;
  }

  int32_t answer_part_number(Bytes& reply) const {
    reply.resize(part_number_reply_length);
    reply[0] = static_cast<uint8_t>(part_number_status_);
    reply[1] = part_number_present_;
    std::copy(part_number_.begin(), part_number_.end(), reply.begin() + 2);
    return 0;
  }

  int32_t answer_bar_offset(ByteView request, Bytes& reply) const {
    uint16_t token = std::accumulate(request.begin(),
                                     request.begin() + std::min<std::ptrdiff_t>(4, std::ssize(request)), uint16_t{0});
    reply.resize(bar_offset_reply_length);
    put_le<uint16_t>(reply, 4, wrong_token_ ? static_cast<uint16_t>(token + 1) : token);
    put_le<uint32_t>(reply, 8, bar_offset_);
    put_le<uint32_t>(reply, 12, bar_offset_length_);
    return 0;
  }

  Card& card_;
  std::string serial_number_;
  int8_t serial_number_status_ = 0;
  std::string part_number_;
  int8_t part_number_status_ = 0;
  uint8_t part_number_present_ = 1;
  std::vector<std::string> macs_;
  Bytes mac_bytes_;
  uint16_t mac_count_ = 0;
  uint32_t mac_status_ = 0;
  std::vector<uint64_t> temperatures_;
  std::vector<uint64_t> temperature_statuses_;
  size_t temperature_readings_ = 0;
  uint16_t os_type_ = 0;
  uint16_t os_type_status_ = 0;
  bool wrong_check_word_ = false;
  uint32_t bar_offset_ = 0;
  uint32_t bar_offset_length_ = 0;
  bool wrong_token_ = false;
  uint8_t layout_byte_ = 0;
  uint64_t feature_word_ = 0;
  std::array<std::array<uint8_t, compat_record_size>, compat_record_count> compat_ = {};
};

}  // namespace

void information_attach(Card& card) {
  card.own(std::make_unique<Information>(card));
}

}  // namespace vcard
