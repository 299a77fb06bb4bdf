// The card's management processor: the other end of every request that the tool sends, whichever wire carried it, and
// the source of notices. It runs under the card's lock.
//
// A request is an event id and bytes; the processor answers with reply bytes and a channel result. Event 39 (general
// requests) is dispatched by the 32-bit op code at the start of the request, every other event id by the id alone.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>

#include "vcard/bytes.h"
#include "vcard/card_file.h"
#include "vcard/fault_range.h"

namespace vcard {

class RequestLog;

inline constexpr uint16_t general_event = 39;
inline constexpr uint16_t update_event = 27;
inline constexpr uint16_t boot_loader_event = 10;
inline constexpr uint16_t bar_offset_event = 33;

/// Answers one request: fills `reply` and returns the channel result. 0 is an answer; any other value is a failure of
/// the channel: the kernel driver reports it beside the request, the mailbox leaves the request unanswered.
using RequestHandler = std::function<int32_t(ByteView request, Bytes& reply)>;

/// Takes one notice to the tool. False: there is no tool on that wire or it cannot take one now.
using NoticeSink = std::function<bool(uint16_t event_id, ByteView payload)>;

/// Returned by a handler that gives no answer at all: on the mailbox the valid bit stays set, on the driver wire the
/// system call stays blocked.
inline constexpr int32_t no_answer = INT32_MIN;

class ManagementProcessor {
 public:
  explicit ManagementProcessor(RequestLog& log) : log_(log) {}

  /// Registers the handler of an event id other than 39. The first registration of an id wins.
  void on_event(uint16_t event_id, RequestHandler handler);
  /// Registers the handler of one op code of event 39.
  void on_op(uint32_t op_code, RequestHandler handler);

  /// One request. An id or op code without handler is answered with channel result 18 (nobody listens there).
  int32_t handle(uint16_t event_id, ByteView request, Bytes& reply);

  /// Sends a notice of event 39: `payload` starts with the 32-bit op code of the notice. It goes to the wire of the
  /// tool that attached last; while that wire cannot take it, it waits in order. Never blocks.
  void notify(Bytes payload);
  /// The same with an event id of the caller's choice, for faults.
  void notify(uint16_t event_id, Bytes payload);

  /// A wire tells that a tool attached to it: notices go there from now on. Notices that still wait for a tool that has
  /// gone are dropped, and the attach hooks run.
  void attach_tool(NoticeSink sink);
  void detach_tool();
  /// Runs `hook` whenever a tool has attached (scripted notices).
  void on_attach(std::function<void()> hook);
  /// Offers waiting notices to the wire again. True when one was taken.
  bool deliver();

  /// The faults of faults.processor, per event id and op code, applied around every handler.
  void load_faults(const CardSection& section);

 private:
  struct Fault {
    uint16_t event_id;
    bool any_op;
    uint32_t op_code;
    FaultRange range;
    bool has_result;
    int32_t result;
    bool has_reply;
    Bytes reply;
  };
  Fault* fault_of(uint16_t event_id, ByteView request);

  RequestLog& log_;
  std::map<uint16_t, RequestHandler> events_;
  std::map<uint32_t, RequestHandler> ops_;
  std::deque<std::pair<uint16_t, Bytes>> waiting_;
  NoticeSink sink_;
  std::vector<std::function<void()>> attach_hooks_;
  std::vector<Fault> faults_;
};

}  // namespace vcard
