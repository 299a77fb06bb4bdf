#include "vcard/management_processor.h"

#include <algorithm>

#include "vcard/request_log.h"

namespace vcard {

namespace {

/// Channel result for a request that nobody listens to.
constexpr int32_t nobody_listens = 18;

}  // namespace

void ManagementProcessor::on_event(uint16_t event_id, RequestHandler handler) {
  events_.emplace(event_id, std::move(handler));
}

void ManagementProcessor::on_op(uint32_t op_code, RequestHandler handler) {
  ops_.emplace(op_code, std::move(handler));
}

ManagementProcessor::Fault* ManagementProcessor::fault_of(uint16_t event_id, ByteView request) {
  auto fault = std::find_if(faults_.begin(), faults_.end(), [&](Fault& row) {
    return row.event_id == event_id && (row.any_op || row.op_code == get_le<uint32_t>(request, 0)) &&
           row.range.hits_next();
  });
  return fault != faults_.end() ? &*fault : nullptr;
}

int32_t ManagementProcessor::handle(uint16_t event_id, ByteView request, Bytes& reply) {
  reply.clear();
  const Fault* fault = fault_of(event_id, request);
  if (fault != nullptr && fault->has_result) {
    reply = fault->reply;
    return fault->result;
  }
  int32_t result = nobody_listens;
  if (event_id == general_event) {
    if (auto op = ops_.find(get_le<uint32_t>(request, 0)); op != ops_.end()) {
      result = op->second(request, reply);
    }
  } else if (auto event = events_.find(event_id); event != events_.end()) {
    result = event->second(request, reply);
  }
  if (fault != nullptr && fault->has_reply) {
    reply = fault->reply;
  }
  return result;
}

void ManagementProcessor::notify(Bytes payload) {
  notify(general_event, std::move(payload));
}

void ManagementProcessor::notify(uint16_t event_id, Bytes payload) {
  waiting_.emplace_back(event_id, std::move(payload));
  deliver();
}

void ManagementProcessor::attach_tool(NoticeSink sink) {
  waiting_.clear();
  sink_ = std::move(sink);
  for (const auto& hook : attach_hooks_) {
    hook();
  }
}

void ManagementProcessor::detach_tool() {
  waiting_.clear();
  sink_ = nullptr;
}

void ManagementProcessor::on_attach(std::function<void()> hook) {
  attach_hooks_.push_back(std::move(hook));
}

bool ManagementProcessor::deliver() {
  bool taken = false;
  while (sink_ && !waiting_.empty()) {
    const auto& [event_id, payload] = waiting_.front();
    if (!sink_(event_id, payload)) {
      break;
    }
    log_.line("notice event_id=%u payload=%s", event_id, hex_text(payload).c_str());
    waiting_.pop_front();
    taken = true;
  }
  return taken;
}

void ManagementProcessor::load_faults(const CardSection& section) {
  for (const CardSection& entry : section.sections("requests")) {
    Fault fault = {};
    fault.event_id = static_cast<uint16_t>(entry.number("event_id", general_event, UINT16_MAX));
    fault.any_op = !entry.has("op_code");
    fault.op_code = static_cast<uint32_t>(entry.number("op_code", 0, UINT32_MAX));
    fault.range = FaultRange(entry);
    fault.has_reply = entry.has("reply");
    fault.reply = entry.bytes("reply", {});
    bool silent = entry.flag("never_answers", false);
    fault.has_result = silent || entry.has("result");
    int64_t result = entry.signed_number("result", 0, INT32_MIN + 1, INT32_MAX);
    fault.result = silent ? no_answer : static_cast<int32_t>(result);
    if (!fault.has_result && !fault.has_reply) {
      entry.complain("", "says neither never_answers nor result nor reply");
    }
    faults_.push_back(std::move(fault));
  }
}

}  // namespace vcard
