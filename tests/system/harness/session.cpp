#include "system/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

namespace session {

namespace {

// No command: the tool answers each of these lines with one line of its own, which separates the outputs.
std::string marker(size_t number) {
  std::string text = "@";
  text += std::to_string(number);
  return text;
}

// What standard error says about the markers is not the lines' doing.
std::string without_markers(const std::string& text) {
  return std::regex_replace(text, std::regex("kxtool: '@[^\n]*\n"), "");
}

std::string cut_to(std::string* text, const std::string& end) {
  const size_t at = text->find(end);
  if (at == std::string::npos) {
    ADD_FAILURE() << "no '" << end << "' in\n" << *text;
    return std::exchange(*text, "");
  }
  const std::string head = text->substr(0, at);
  text->erase(0, at + end.size());
  return head;
}

}  // namespace

Session run(const std::string& card, const std::vector<std::string>& lines, bool super) {
  std::string input = super ? "0\nsu opsu\n" : "0\n";
  for (size_t i = 0; i < lines.size(); ++i) {
    input += marker(i) + "\n" + lines[i] + "\n";
  }
  input += marker(lines.size()) + "\nquit\n";
  Session session;
  session.result = kx_system::run({.card = card, .input = input});
  session.result.err = without_markers(session.result.err);
  std::string rest = session.result.out;
  session.before = cut_to(&rest, marker(0) + ": No such command for kxtools!\n");
  for (size_t i = 0; i < lines.size(); ++i) {
    session.outputs.push_back(cut_to(&rest, marker(i + 1) + ": No such command for kxtools!\n"));
  }
  return session;
}

Session expect_shows(const std::string& card, const std::string& prefix, const std::vector<Row>& rows, bool super) {
  std::vector<std::string> lines;
  for (const Row& row : rows) {
    lines.push_back(prefix + row.line);
  }
  Session session = run(card, lines, super);
  EXPECT_FALSE(session.result.timed_out);
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_THAT(plain(session.outputs[i]), rows[i].shows) << lines[i];
  }
  return session;
}

std::string line_run(const std::string& card, const std::string& line) {
  return run(card, {line}, true).outputs[0];
}

kx_system::Result one_shot(const std::string& card, const std::string& words) {
  return kx_system::run({.card = card, .words = kx_system::words_of("bind 0000:3b:00.0 " + words)});
}

std::string plain(const std::string& text) {
  return std::regex_replace(text, std::regex("\033[^m]*m"), "");
}

}  // namespace session
