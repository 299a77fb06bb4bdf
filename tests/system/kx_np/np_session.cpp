#include "np_session.h"

#include <gtest/gtest.h>

namespace np_session {

namespace {

constexpr const char* separator_line = "kxnp diag_dpp_comm_set_print_level 1\n";
constexpr const char* separator =
    "0:QLIX_TRACE_PRINT\n1:QLIX_TRACE_ERROR_PRINT\n2:QLIX_TRACE_INFO_PRINT\n3:QLIX_TRACE_DEBUG_PRINT\n"
    "4:QLIX_TRACE_ALL_PRINT\nset print level is 1\n";

std::string cut_to_separator(std::string* text) {
  const size_t at = text->find(separator);
  if (at == std::string::npos) {
    ADD_FAILURE() << "no separator in\n" << *text;
    return std::exchange(*text, "");
  }
  const std::string head = text->substr(0, at);
  text->erase(0, at + std::string_view(separator).size());
  return head;
}

}  // namespace

Session run(const std::string& card, const std::vector<std::string>& lines) {
  std::string input = "0\nsu opsu\n";
  for (const std::string& line : lines) {
    input += separator_line;
    input += "kxnp " + line + "\n";
  }
  input += separator_line;
  input += "quit\n";
  Session session;
  session.result = kx_system::run({.card = card, .input = input});
  std::string rest = session.result.out;
  cut_to_separator(&rest);
  for (size_t i = 0; i < lines.size(); ++i) {
    session.outputs.push_back(cut_to_separator(&rest));
  }
  return session;
}

const std::vector<GoodWords>& good_words() {
  static const std::vector<GoodWords> rows = {
#include "good_words.inc"
  };
  return rows;
}

}  // namespace np_session
