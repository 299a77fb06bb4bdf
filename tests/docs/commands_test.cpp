// No command without its documents: usage, purpose, example, manual entry and completion, for every entry of the live
// tree.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "../printed.h"
#include "../temp_folder.h"
#include "kxtool/commands.h"
#include "kxtools/cmd.h"
#include "modules.h"

namespace {

// The page's text as it stands on paper, as far as names go.
std::string page_read(const char* path) {
  const std::string text = temp_folder::read(path);
  EXPECT_FALSE(text.empty()) << path;
  return std::regex_replace(std::regex_replace(text, std::regex(R"(\\-)"), "-"), std::regex(R"(\\:)"), "");
}

// True when `name` stands in `text` as a whole word.
bool has_word(const std::string& text, const std::string& name) {
  const auto is_part = [](char c) { return isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-'; };
  for (size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
    const size_t end = at + name.size();
    if ((at == 0 || !is_part(text[at - 1])) && (end == text.size() || !is_part(text[end]))) {
      return true;
    }
  }
  return false;
}

// The part of the completion script that begins with `head`.
std::string part_of(const std::string& script, const std::string& head) {
  const size_t at = script.find(head);
  EXPECT_NE(at, std::string::npos) << head;
  return at == std::string::npos ? "" : script.substr(at, script.find('\n', at) - at);
}

class Documents : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_EQ(kxtool_cmd_init(), 0);
    ASSERT_EQ(kxtools_module_cmd_init(), 0);
  }
  const std::string manual_ = page_read(KX_DOCS "/kxtool.1");
  const std::string functions_ = page_read(KX_DPP_COMMANDS);
  const std::string completion_ = temp_folder::read(KX_DOCS "/kxtool.bash");
};

TEST_F(Documents, EveryMaintenanceCommandHasThem) {
  const kxtools_cmd_entry& tool = kxtools_cmd_list_addr_get()[KXTOOLS_MODULE_KXTOOL];
  const std::string completed = part_of(completion_, "_kxtool_commands=");
  for (uint32_t i = 0; i < tool.sub_cmd_num; ++i) {
    const kxtools_cmd_entry& entry = tool.sub_cmd_list[i];
    SCOPED_TRACE(entry.name);
    const char* usage = kxtool_command_usage(entry.name);
    const char* instead = kxtool_command_instead(entry.name);
    ASSERT_NE(usage, nullptr);
    EXPECT_NE(entry.usage, nullptr);
    const std::string text = usage;
    const size_t synopsis = text.find("\n    SYNOPSIS:\n        ");
    ASSERT_NE(synopsis, std::string::npos) << "no synopsis";
    EXPECT_TRUE(text.starts_with("    COMMAND:\n        ") && has_word(text.substr(0, synopsis), entry.name));
    EXPECT_TRUE(text.back() != '\n' && text.find('\t') == std::string::npos) << "no block";
    EXPECT_NE(text.find("\n    DESCRIPTION:\n        "), std::string::npos) << "no purpose";
    EXPECT_NE(text.find(instead == nullptr ? "\n    EXAMPLES:\n        kxtool "
                                           : "\n    AVAILABILITY:\n        Not in this build. In its place: "),
              std::string::npos)
        << "no example, or nothing to do in its place";
    const std::string heading = manual_.substr(0, manual_.find(".SH MODULE COMMANDS"));
    bool has_entry = false;
    for (size_t at = heading.find("\n.SS \""); at != std::string::npos; at = heading.find("\n.SS \"", at + 1)) {
      has_entry |= has_word(heading.substr(at, heading.find('\n', at + 1) - at), entry.name);
    }
    EXPECT_TRUE(has_entry) << "no manual entry";
    EXPECT_EQ(has_word(completed, entry.name), entry.permission == 0) << completed;
  }
}

// What the command prints of itself, its words and what it is for.
std::string usage_of(const kxtools_cmd_entry& entry) {
  if (entry.usage == nullptr) {
    return entry.help == nullptr ? "" : entry.help;
  }
  return printed([&] { entry.usage(entry); });
}

// An indented sentence of its own, or what stands behind the words of a single line.
bool tells_purpose(const std::string& usage) {
  return std::regex_search(usage, std::regex("\n    [A-Za-z][^\n]*\\.\n")) ||
         std::regex_search(usage, std::regex("^[^\n]*: [a-zA-Z][^\n]+$")) ||
         usage.find("has no such command") != std::string::npos;
}

// The names of the module's entries that an example of the manual runs, in a shell of the system or of the tool.
std::set<std::string> examples_of(const std::string& manual, const std::string& module) {
  std::set<std::string> names;
  const std::regex line("\n(?:kxtool bind [^ \n]+ )?" + module + " ([A-Za-z0-9_]+)");
  for (std::sregex_iterator match(manual.begin(), manual.end(), line), end; match != end; ++match) {
    names.insert((*match)[1]);
  }
  return names;
}

void module_check(const kxtools_cmd_entry& parent, const std::string& chain, const std::string& completion,
                  const std::string& manual) {
  const std::string completed = part_of(completion, "    '" + chain + "') echo '");
  for (uint32_t i = 0; i < parent.sub_cmd_num; ++i) {
    const kxtools_cmd_entry& entry = parent.sub_cmd_list[i];
    SCOPED_TRACE(chain + " " + entry.name);
    const std::string usage = usage_of(entry);
    EXPECT_TRUE(has_word(usage, entry.name)) << "no usage";
    EXPECT_TRUE(entry.sub_cmd_num != 0 || tells_purpose(usage)) << "no purpose: " << usage;
    EXPECT_TRUE(has_word(manual, entry.name)) << "no manual entry";
    EXPECT_EQ(has_word(completed, entry.name), entry.permission == 0);
    if (entry.sub_cmd_num != 0 && entry.permission == 0) {
      module_check(entry, chain + " " + entry.name, completion, manual);
    }
  }
}

// One for each group of commands, and one for those in no group; where the commands' names stand only behind the
// entries, every entry is a group.
void examples_check(uint32_t id, const std::set<std::string>& examples) {
  const kxtools_cmd_entry& module = kxtools_cmd_list_addr_get()[id];
  const bool groups_only = id == KXTOOLS_MODULE_KXBTTL || id == KXTOOLS_MODULE_KXTRACE_APP;
  bool has_single = false;
  for (uint32_t i = 0; i < module.sub_cmd_num; ++i) {
    const kxtools_cmd_entry& entry = module.sub_cmd_list[i];
    const bool shown = examples.count(entry.name) != 0;
    EXPECT_TRUE(shown || (entry.sub_cmd_num == 0 && !groups_only))
        << module.name << " " << entry.name << " has no example";
    has_single |= shown && entry.sub_cmd_num == 0;
  }
  EXPECT_TRUE(has_single) << module.name << " has no example";
  for (const std::string& name : examples) {
    uint32_t index = 0;
    EXPECT_EQ(kxtools_cmd_index_get(name.c_str(), module.sub_cmd_list, module.sub_cmd_num, &index), 0) << name;
  }
}

TEST_F(Documents, EveryCommandOfAModuleHasThem) {
  const std::string module_part = manual_.substr(manual_.find(".SH MODULE COMMANDS"));
  for (uint32_t id = KXTOOLS_MODULE_KXNP; id < KXTOOLS_MODULE_KXRDMA; ++id) {
    const kxtools_cmd_entry& module = kxtools_cmd_list_addr_get()[id];
    EXPECT_GT(module.sub_cmd_num, 0u) << module.name;
    examples_check(id, examples_of(id == KXTOOLS_MODULE_KXNP ? functions_ : module_part, module.name));
    module_check(module, module.name, completion_, module_part + functions_);
  }
}

}  // namespace
