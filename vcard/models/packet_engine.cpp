// The packet engine: two DXGE instances, buffer manager, queue manager and large-receive offload, all of them memory
// that holds what a healthy engine holds and what the card file says.

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

constexpr uint64_t dxge_to_np = 0x6211400000;
constexpr uint64_t dxge_to_queue_engine = 0x6211800000;
constexpr uint64_t receive_errors = 0x100810;
constexpr uint64_t receive_error_code = 0x100300;
constexpr uint64_t send_errors = 0x200810;
constexpr size_t receive_error_kinds = 12;
constexpr size_t send_error_kinds = 16;

constexpr uint64_t buffer_manager = 0x6212000000;
constexpr uint64_t pool_stride = 0x40;
constexpr uint32_t pool_count = 4;
constexpr uint64_t queue_manager = 0x6212400000;
constexpr uint64_t receive_offload = 0x6212800000;

struct Word {
  uint64_t offset;
  uint32_t value;
};

constexpr Word dxge_words[] = {
    {0x100000, 1},     // receive side on
    {0x100008, 64},    // shortest packet
    {0x10000c, 9600},  // longest packet
    {0x100010, 7},     // checksums of IP, TCP and UDP
    {0x200000, 1},     // send side on
    {0x200008, 1500},  // MTU
    {0x20000c, 68},
};
constexpr Word buffer_manager_words[] = {{0x00, 0xf}, {0x04, 2048}, {0x08, 256}, {0x0c, 3840}};
constexpr Word queue_words[] = {{0x00, 1}, {0x04, 256}, {0x0c, 1000}, {0x80, 256}};
constexpr Word offload_words[] = {{0x00, 1}, {0x04, 1}, {0x08, 1}, {0x0c, 65535}, {0x10, 44}, {0x14, 50}};

template <size_t N>
void fill(Card& card, uint64_t base, const Word (&words)[N]) {
  for (const Word& word : words) {
    card.memory().poke(base + word.offset, word.value);
  }
}

void fill_errors(Card& card, uint64_t first, const CardSection& section, const char* key, size_t kinds) {
  std::vector<uint64_t> counts = section.numbers(key, {}, UINT32_MAX);
  if (counts.size() > kinds) {
    section.complain(key, "more counters than the instance has");
    return;
  }
  for (size_t i = 0; i < counts.size(); ++i) {
    card.memory().poke(first + 4 * i, static_cast<uint32_t>(counts[i]));
  }
}

void fill_dxge(Card& card, uint64_t base, const CardSection& section) {
  fill(card, base, dxge_words);
  fill_errors(card, base + receive_errors, section, "receive_errors", receive_error_kinds);
  fill_errors(card, base + send_errors, section, "send_errors", send_error_kinds);
  card.memory().poke(base + receive_error_code,
                     static_cast<uint32_t>(section.number("receive_error_code", 0, UINT16_MAX)));
}

}  // namespace

void packet_engine_attach(Card& card) {
  CardSection section = card.file().section("packet_engine");
  fill_dxge(card, dxge_to_np, section.section("dxge_to_np"));
  fill_dxge(card, dxge_to_queue_engine, section.section("dxge_to_queue_engine"));
  fill(card, buffer_manager, buffer_manager_words);
  for (uint32_t pool = 0; pool < pool_count; ++pool) {
    card.memory().poke(buffer_manager + 0x100 + pool_stride * pool, 4096);
    card.memory().poke(buffer_manager + 0x104 + pool_stride * pool, 4096 - pool);
  }
  fill(card, queue_manager, queue_words);
  fill(card, receive_offload, offload_words);
}

}  // namespace vcard
