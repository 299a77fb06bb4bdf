#include "collect.h"

#include "common/device_memory.h"
#include "common/signals.h"

namespace {

constexpr uint32_t BY_DRIVER = SECTION_IDENTITY | SECTION_FIRMWARE | SECTION_TEMPERATURE | SECTION_SHORT;
constexpr uint32_t BY_MEMORY = SECTION_HEALTH | SECTION_COUNTERS | SECTION_REGISTERS | SECTION_RAW | SECTION_SHORT;

bool goes_on() {
  return kx_signal_guard::raised() == 0;
}

struct opened {
  bool channel = false;
  bool bound = false;
};

void channel_sections(card* asked, uint32_t sections, value_sink* out, collect_errors* errors) {
  if ((sections & SECTION_IDENTITY) != 0 && goes_on()) {
    identity_collect(asked, out, errors);
  }
  if ((sections & SECTION_FIRMWARE) != 0 && goes_on()) {
    firmware_collect(asked, out, errors);
  }
}

void sections_collect(card* asked, const collect_request& request, const opened& open, value_sink* out,
                      collect_errors* errors) {
  if ((request.sections & SECTION_TEMPERATURE) != 0 && open.channel) {
    temperature_collect(asked, out, errors);
  }
  if ((request.sections & SECTION_HEALTH) != 0 && open.bound && goes_on()) {
    health_collect(request, out, errors);
  }
  if (open.channel) {
    channel_sections(asked, request.sections, out, errors);
  }
  if ((request.sections & SECTION_LINK) != 0 && goes_on()) {
    link_collect(asked, (request.sections & SECTION_EYES) != 0, out, errors);
  }
  if ((request.sections & SECTION_COUNTERS) != 0 && open.bound && goes_on()) {
    counters_collect(request, out, errors);
  }
  if ((request.sections & SECTION_REGISTERS) != 0 && open.bound && goes_on()) {
    registers_collect(request, out, errors);
  }
  if ((request.sections & SECTION_RAW) != 0 && goes_on()) {
    raw_collect(asked, open.bound, out, errors);
  }
}

void end_send(uint32_t sections, const collect_errors& errors, value_sink* out) {
  out->flag(term::answers, errors.empty());
  if ((sections & SECTION_SHORT) != 0) {
    if (!errors.empty()) {
      out->text(term::problem, errors.front());
    }
    return;
  }
  out->begin(term::errors);
  for (const std::string& line : errors) {
    out->text(term::error, line);
  }
  out->end();
}

}  // namespace

void card_collect(const card_place& place, const collect_request& request, value_sink* out) {
  const kx_signal_guard guard;
  collect_errors errors;
  card asked(place);
  opened open;
  std::string why;
  if ((request.sections & SECTION_KERNEL) != 0) {
    kernel_collect(place, out);
  }
  if (!asked.acquire(&why)) {
    errors.push_back(why);
    end_send(request.sections, errors, out);
    return;
  }
  if ((request.sections & BY_DRIVER) != 0 && !(open.channel = asked.channel_open(&why))) {
    errors.push_back(why);
  }
  if ((request.sections & BY_MEMORY) != 0 && !(open.bound = asked.bind(&why))) {
    errors.push_back(why);
  }
  if ((request.sections & SECTION_SHORT) != 0) {
    short_collect(&asked, open.channel, open.bound, out, &errors);
  } else {
    sections_collect(&asked, request, open, out, &errors);
  }
  asked.close();
  if (!goes_on()) {
    errors.push_back("interrupted");
  }
  if (kx_device_memory_losses != 0) {
    errors.push_back("its memory was taken away while it was read");
  }
  end_send(request.sections, errors, out);
}
