#include "vcard/card_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {
namespace {

using testing::ElementsAre;

TEST(CardFile, ReadsEveryKindOfValue) {
  CardFile file(R"({"a": {"small": 7, "wide": "0xffffffffffffffff", "minus": -8, "yes": true, "word": "text",
                    "raw": "01 02:ff", "pick": "two", "list": [1, "0x2"], "one": 3, "words": ["x", "y"],
                    "comment": "free", "inner": [{"n": 1}, {"n": 2}]}})");
  CardSection a = file.section("a");
  EXPECT_EQ(a.number("small", 0), 7u);
  EXPECT_EQ(a.number("wide", 0), UINT64_MAX);
  EXPECT_EQ(a.signed_number("minus", 0, -10, 10), -8);
  EXPECT_TRUE(a.flag("yes", false));
  EXPECT_EQ(a.text("word", ""), "text");
  EXPECT_THAT(a.bytes("raw", {}), ElementsAre(1, 2, 0xff));
  const char* const names[] = {"one", "two"};
  EXPECT_EQ(a.choice("pick", 0, names), 1u);
  EXPECT_THAT(a.numbers("list", {}), ElementsAre(1, 2));
  EXPECT_THAT(a.numbers("one", {}), ElementsAre(3));
  EXPECT_THAT(a.texts("words", {}), ElementsAre("x", "y"));
  ASSERT_EQ(a.sections("inner").size(), 2u);
  EXPECT_EQ(a.sections("inner")[1].number("n", 0), 2u);
  // The first element of "inner" was handed out and its key never read.
  EXPECT_THAT(file.complaints(), ElementsAre("a.inner[0].n: unknown key"));
}

TEST(CardFile, RefusesWhatItCannotUse) {
  // Everything reads the same keys: n up to 255, t of at most 4 bytes, f, s from -1 to 1, b, c, l, o (an object).
  const struct {
    const char* text;
    const char* complaint;
  } refusals[] = {
      {R"({"n": 256})", "n: larger than 255"},
      {R"({"n": -1})", "n: not a whole number from 0 on"},
      {R"({"n": 1.5})", "n: not a whole number from 0 on"},
      {R"({"n": "12 "})", "n: not a whole number from 0 on"},
      {R"({"n": "-1"})", "n: not a whole number from 0 on"},
      {R"({"n": "0x10000000000000000"})", "n: not a whole number from 0 on"},
      {R"({"n": true})", "n: not a whole number from 0 on"},
      {R"({"t": 5})", "t: not a text"},
      {R"({"t": "12345"})", "t: longer than 4 bytes"},
      {R"({"f": 1})", "f: not true or false"},
      {R"({"s": 2})", "s: not between -1 and 1"},
      {R"({"b": "abc"})", "b: not hexadecimal digits of at most 65536 bytes"},
      {R"({"c": "third"})", "c: not one of first, second"},
      {R"({"l": [1, 300]})", "l: not an array of whole numbers from 0 to 255"},
      {R"({"o": []})", "o: not an object"},
      {R"({"o": {"typo": 1}})", "o.typo: unknown key"},
      {R"({"n": 1, "n": 2})", "n: unknown key"},
      {R"({"unread": {"deep": 1}})", "unread: unknown key"},
      {"{\"n\": 1,\n \"t\": }", "line 2, column 7: not a JSON object"},
      {R"([1])", "line 1, column 4: not a JSON object"},
      {R"({} x)", "line 1, column 3: not a JSON object"},
      {"", "line 1, column 1: not a JSON object"},
  };
  for (const auto& refusal : refusals) {
    CardFile file(refusal.text);
    CardSection root = file.root();
    const char* const names[] = {"first", "second"};
    root.number("n", 0, 255);
    root.text("t", "", 4);
    root.flag("f", false);
    root.signed_number("s", 0, -1, 1);
    root.bytes("b", {});
    root.choice("c", 0, names);
    root.numbers("l", {}, 255);
    root.section("o");
    EXPECT_THAT(file.complaints(), ElementsAre(refusal.complaint)) << refusal.text;
  }
}

TEST(CardFile, TheExampleIsTheCardWithoutAFile) {
  FILE* stream = fopen(VCARD_EXAMPLE, "re");
  ASSERT_NE(stream, nullptr);
  std::string text(65536, '\0');
  text.resize(fread(text.data(), 1, text.size(), stream));
  fclose(stream);

  RequestLog log;
  CardFile example(text), nothing;
  Card from_example(example, log), from_nothing(nothing, log);
  models_attach(from_example);
  models_attach(from_nothing);
  ASSERT_TRUE(from_example.create({}) && from_nothing.create({}));
  EXPECT_EQ(0, memcmp(from_example.bar0().bytes().data(), from_nothing.bar0().bytes().data(), 0x10000));
  for (size_t i = 0; i < from_nothing.functions().size(); ++i) {
    std::span<uint8_t> a = from_example.functions()[i].config.bytes(), b = from_nothing.functions()[i].config.bytes();
    EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin())) << from_nothing.functions()[i].sbdf;
  }
  for (uint8_t op : Bytes{0, 9, 15, 18, 21}) {
    Bytes answer, expected;
    EXPECT_EQ(from_example.processor().handle(39, Bytes{op, 0, 0, 0}, answer), 0);
    EXPECT_EQ(from_nothing.processor().handle(39, Bytes{op, 0, 0, 0}, expected), 0);
    EXPECT_EQ(answer, expected) << int(op);
  }
}

TEST(CardFile, MisspeltKeysOfTheCardAreNamed) {
  CardFile file(R"({"information": {"temperatur": 45}, "bar0": {"compat": {"10": {}, "1": {"majr": 1}}},
                    "functions": {"3b:00.0": {}, "0000:3b:00.0": {"drivr": "x", "interface": "a/b"}},
                    "faults": {"processor": {"requests": [{"op_code": 15}]}}})");
  RequestLog log;
  Card card(file, log);
  models_attach(card);
  EXPECT_THAT(file.complaints(),
              testing::UnorderedElementsAre(
                  "information.temperatur: unknown key", "bar0.compat.1.majr: unknown key",
                  "bar0.compat.10: not a record number from 0 to 9", "bar0.compat.10: unknown key",
                  "functions.3b:00.0: not a PCI address of the form 0000:3b:00.0", "functions.3b:00.0: unknown key",
                  "functions.0000:3b:00.0.drivr: unknown key", "functions.0000:3b:00.0.interface: not a name",
                  "faults.processor.requests[0]: says neither never_answers nor result nor reply"));
}

}  // namespace
}  // namespace vcard
