#include "wire/mailbox.h"

#include <algorithm>

namespace vcard {

namespace {

// The area lies at one of two places, by a byte of BAR 0.
constexpr size_t layout_byte_word = 0x1000;
constexpr size_t area_of_layout_0_1_7 = 0xf0f000;
constexpr size_t area_of_other_layouts = 0xff000;

constexpr size_t request_slot = 0x000;
constexpr size_t notice_slot = 0x800;
constexpr size_t payload_offset = 12;
constexpr size_t payload_max = 2036;

// Flag byte of a slot.
constexpr uint8_t valid_flag = 1 << 0;
constexpr uint8_t route_flag = 1 << 1;
constexpr uint8_t ack_flag = 1 << 3;
constexpr uint8_t poll_tag = 1 << 4;

constexpr std::chrono::microseconds mailbox_poll_period(50);

constexpr uint32_t os_type_op = 0;

}  // namespace

Mailbox::Mailbox(Card& card) : card_(card) {
  load_faults(card.file().section("faults").section("mailbox"));
  card.poll_every(mailbox_poll_period, [this] { return poll(); });
}

void Mailbox::load_faults(const CardSection& section) {
  notice_flags_ = static_cast<uint8_t>(section.number("notice_flags", poll_tag, 255));
  for (const CardSection& entry : section.sections("requests")) {
    Fault fault = {};
    fault.any_event = !entry.has("event_id");
    fault.event_id = static_cast<uint16_t>(entry.number("event_id", 0, UINT16_MAX));
    fault.range = FaultRange(entry);
    fault.never_answers = entry.flag("never_answers", false);
    fault.message_id = entry.signed_number("message_id", -1, -1, UINT16_MAX);
    fault.length = entry.signed_number("length", -1, -1, UINT16_MAX);
    fault.no_ack = entry.flag("no_ack", false);
    fault.takes_bar = entry.flag("takes_bar", false);
    if (!fault.never_answers && fault.message_id < 0 && fault.length < 0 && !fault.no_ack && !fault.takes_bar) {
      entry.complain("", "says neither never_answers nor message_id nor length nor no_ack nor takes_bar");
    }
    faults_.push_back(fault);
  }
}

Mailbox::Fault* Mailbox::fault_of(uint16_t event_id) {
  auto fault = std::find_if(faults_.begin(), faults_.end(), [&](Fault& row) {
    return (row.any_event || row.event_id == event_id) && row.range.hits_next();
  });
  return fault != faults_.end() ? &*fault : nullptr;
}

size_t Mailbox::area() const {
  uint32_t layout = card_.bar0().read32(layout_byte_word) >> 8 & 0xff;
  return layout == 0 || layout == 1 || layout == 7 ? area_of_layout_0_1_7 : area_of_other_layouts;
}

Bytes Mailbox::read_slot(size_t slot, size_t size) const {
  Bytes bytes;
  for (size_t offset = 0; offset < size; offset += 4) {
    put_le(bytes, offset, card_.bar0().read32(slot + offset));
  }
  bytes.resize(size);
  return bytes;
}

void Mailbox::write_payload(size_t slot, ByteView payload) {
  for (size_t offset = 0; offset < payload.size(); offset += 4) {
    card_.bar0().write32(slot + payload_offset + offset, get_le<uint32_t>(payload, offset));
  }
}

bool Mailbox::poll() {
  if (card_.bar0().size() < area() + 2 * notice_slot) {
    return false;
  }
  bool worked = take_request();
  return watch_notice() || worked;
}

bool Mailbox::take_request() {
  size_t slot = area() + request_slot;
  Bytes header = read_slot(slot, payload_offset);
  if ((header[0] & valid_flag) == 0) {
    ignored_header_.clear();
    return false;
  }
  // Keep looking often: the tool may take a request back and send another one between two looks. The valid bit goes
  // first and comes last, so a header that reads the same twice is whole.
  if (header == ignored_header_ || header != read_slot(slot, payload_offset)) {
    return true;
  }
  uint16_t event_id = get_le<uint16_t>(header, 2);
  uint16_t length = get_le<uint16_t>(header, 4);
  Bytes payload = read_slot(slot + payload_offset, std::min<size_t>(length, payload_max));
  if (card_.log().active()) {
    card_.log().line("mailbox header=%s payload=%s", hex_text(header).c_str(), hex_text(payload).c_str());
  }

  if (event_id == general_event && get_le<uint32_t>(payload, 0) == os_type_op) {
    attached_ = true;
    notice_out_ = false;
    card_.processor().attach_tool([this](uint16_t event, ByteView notice) { return put_notice(event, notice); });
  }
  const Fault* fault = fault_of(event_id);
  if (fault != nullptr && fault->takes_bar) {
    card_.bar_claim();
  }
  Bytes reply;
  int32_t result = card_.processor().handle(event_id, payload, reply);
  if (result != 0 || (fault != nullptr && fault->never_answers)) {
    card_.log().line("mailbox_silent result=%d", result == no_answer ? 0 : result);
    ignored_header_ = header;
    return true;
  }
  // A tool that was killed meanwhile leaves nobody who waits, and its successor's request may lie in the slot by now.
  if (header != read_slot(slot, payload_offset)) {
    card_.log().line("mailbox_withdrawn header=%s", hex_text(header).c_str());
    return true;
  }
  answer(fault, header, reply);
  return true;
}

void Mailbox::answer(const Fault* fault, ByteView header, const Bytes& reply) {
  size_t slot = area() + request_slot;
  Bytes sent(header.begin(), header.end());
  uint16_t length = static_cast<uint16_t>(std::min(reply.size(), payload_max));
  bool acknowledge = fault == nullptr || !fault->no_ack;
  uint8_t flags = static_cast<uint8_t>((sent[0] | (acknowledge ? ack_flag : 0)) & ~valid_flag);
  if (fault != nullptr && fault->message_id >= 0) {
    put_le<uint16_t>(sent, 6, static_cast<uint16_t>(fault->message_id));
  }
  put_le<uint16_t>(sent, 4, fault != nullptr && fault->length >= 0 ? static_cast<uint16_t>(fault->length) : length);
  write_payload(slot, ByteView(reply).first(length));
  card_.bar0().write32(slot + 8, get_le<uint32_t>(sent, 8));
  card_.bar0().write32(slot + 4, get_le<uint32_t>(sent, 4));
  // The word with the valid bit comes last: it gives the slot back.
  sent[0] = flags;
  card_.bar0().write32(slot, get_le<uint32_t>(sent, 0));
  card_.log().line("mailbox_answer header=%s payload=%s", hex_text(sent).c_str(),
                   hex_text(ByteView(reply).first(length)).c_str());
}

bool Mailbox::put_notice(uint16_t event_id, ByteView payload) {
  size_t slot = area() + notice_slot;
  if (notice_out_ || (card_.bar0().read32(slot) & valid_flag) != 0) {
    return false;
  }
  Bytes header(payload_offset);
  put_le<uint16_t>(header, 2, event_id);
  put_le<uint16_t>(header, 4, static_cast<uint16_t>(payload.size()));
  write_payload(slot, payload.first(std::min(payload.size(), payload_max)));
  card_.bar0().write32(slot + 8, get_le<uint32_t>(header, 8));
  card_.bar0().write32(slot + 4, get_le<uint32_t>(header, 4));
  header[0] = static_cast<uint8_t>(notice_flags_ | valid_flag);
  card_.bar0().write32(slot, get_le<uint32_t>(header, 0));
  notice_out_ = true;
  return true;
}

bool Mailbox::watch_notice() {
  if (!attached_) {
    return false;
  }
  size_t slot = area() + notice_slot;
  bool acknowledged = notice_out_ && (card_.bar0().read32(slot) & valid_flag) == 0;
  if (acknowledged) {
    notice_out_ = false;
    // With the route flag the tool's answer lies in the request slot.
    size_t reply_slot = (notice_flags_ & route_flag) != 0 ? area() + request_slot : slot;
    card_.log().line("notice_done header=%s", hex_text(read_slot(reply_slot, payload_offset)).c_str());
  }
  return card_.processor().deliver() || acknowledged;
}

}  // namespace vcard
