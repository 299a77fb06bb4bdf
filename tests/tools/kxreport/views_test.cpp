// The views and the pipe that a report goes through, on trees made by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "../../printed.h"
#include "module_alarms.h"
#include "value_pipe.h"
#include "views.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string shown(view_fn view, const value& root) {
  return written([&](FILE* out) { view(root, out); });
}

void report_fill(value_sink* out, const std::string& serial) {
  out->begin(term::cards);
  out->begin(term::card);
  out->text(term::device, "eth0");
  out->text(term::address, "0000:3b:00.0");
  out->gauge(term::temperature, -5);
  out->begin(term::identity);
  out->text(term::serial_number, serial);
  out->end();
  out->begin(term::counters);
  out->begin(term::counter_unit);
  out->text(term::unit, "np");
  out->begin(term::unit_counters);
  out->begin(term::counter);
  out->text(term::name, "a\nb");
  out->number(term::value, UINT64_MAX);
  out->end();
}

value report_of(const std::string& serial) {
  value root = {term::document, 0, {}, {}};
  value_builder out(&root);
  report_fill(&out, serial);
  return root;
}

TEST(Views, EscapeHostileTextsAndKeepAllDigits) {
  const value root = report_of("<b>&\"\\\x1b[31m\xff\xe2\x80");
  EXPECT_THAT(
      shown(view_json, root),
      AllOf(HasSubstr("\"<b>&\\\"\\\\\\u001B[31m\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""),
            HasSubstr("18446744073709551615"), HasSubstr("\"temperature_celsius\": -5"), Not(HasSubstr("\xff"))));
  EXPECT_THAT(shown(view_html, root), AllOf(HasSubstr("&lt;b&gt;&amp;&quot;\\?[31m???"), Not(HasSubstr("<b>"))));
  EXPECT_THAT(shown(view_text, root), AllOf(HasSubstr("<b>&\"\\?[31m???\n"), HasSubstr("-5 C")));
  EXPECT_THAT(shown(view_openmetrics, root),
              AllOf(HasSubstr("serial_number=\"<b>&\\\"\\\\?[31m???\"} 1\n"),
                    HasSubstr("kx_card_unit_events_total{device=\"eth0\",address=\"0000:3b:00.0\",unit=\"np\",name="
                              "\"a?b\"} 18446744073709551615\n"),
                    testing::EndsWith("# EOF\n")));
}

TEST(Views, TellWhatIsNoNumber) {
  value root = {term::document, 0, {}, {}};
  value_builder out(&root);
  out.begin(term::cards);
  out.begin(term::card);
  out.begin(term::link);
  out.begin(term::module_);
  out.real(term::voltage, std::numeric_limits<double>::infinity());
  EXPECT_THAT(shown(view_json, root), HasSubstr("\"voltage_volts\": null"));
}

TEST(Utf8, OnlyWholeCharactersPass) {
  const struct {
    const char* text;
    size_t good;
  } rows[] = {{"abc", 3},          {"\xc3\xa4", 2},         {"\xc0\x80", 0},     {"\xc2\x9b", 0},
              {"\xe2\x82\xac", 3}, {"\xed\xa0\x80", 0},     {"\xe0\x80\x80", 0}, {"\xf0\x9f\x98\x80", 4},
              {"a\x80", 1},        {"\xf4\x90\x80\x80", 0}, {"\xff", 0}};
  for (const auto& row : rows) {
    EXPECT_EQ(utf8_prefix(row.text), row.good) << row.text;
  }
}

TEST(Pipe, WhatArrivedIsATreeWhereverItIsCut) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  value_sender sender(ends[1]);
  report_fill(&sender, "KX1");
  sender.flush();
  char bytes[4096];
  const ssize_t size = read(ends[0], bytes, sizeof bytes);
  close(ends[0]);
  close(ends[1]);
  ASSERT_GT(size, 0);
  const std::string whole = shown(view_json, report_of("KX1"));
  for (ssize_t cut = 0; cut <= size; ++cut) {
    value root = {term::document, 0, {}, {}};
    value_receiver receiver(&root);
    receiver.take(bytes, static_cast<size_t>(cut));
    shown(view_json, root);
    receiver.take(bytes + cut, static_cast<size_t>(size - cut));
    ASSERT_EQ(shown(view_json, root), whole) << cut;
  }
}

TEST(ModuleAlarms, AreReadByTheKindOfModule) {
  std::vector<uint8_t> sfp(512);
  sfp[0] = 0x03;
  sfp[256 + 112] = 0x81;
  EXPECT_TRUE(module_alarms(sfp).empty());  // has no monitors
  sfp[92] = 0x40;
  EXPECT_THAT(module_alarms(sfp), ElementsAre("temperature high", "send power low"));
  std::vector<uint8_t> qsfp(256);
  qsfp[0] = 0x11;
  qsfp[6] = 0x30;  // warnings
  qsfp[12] = 0x04;
  EXPECT_THAT(module_alarms(qsfp), ElementsAre("lane 4 bias low"));
  std::vector<uint8_t> cmis(256);
  cmis[0] = 0x18;
  cmis[9] = 0x21;
  EXPECT_THAT(module_alarms(cmis), ElementsAre("temperature high", "voltage low"));
  EXPECT_TRUE(module_alarms({}).empty());
  EXPECT_TRUE(module_alarms(std::span(qsfp).first(5)).empty());
}

}  // namespace
