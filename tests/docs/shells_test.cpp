// The completion as a user meets it: the tab key in an interactive shell on a machine with a card.
#include <gtest/gtest.h>
#include <unistd.h>

#include "system/process.h"

namespace {

using namespace kx_system;

constexpr const char* ZSH = "/bin/zsh";

struct Completion {
  const char* typed;
  const char* runs;
};

// The programs' names stand for a function that prints its words.
const Completion COMPLETIONS[] = {
    {"kxtool sn_i\t", "sn_info"},
    {"kxtool res\t", "res"},  // for the super user only
    {"kxtool sn_info et\t", "sn_info eth"},
    {"kxtool sn_info en\t", "sn_info en"},  // eno1 is no card's
    {"kxtool sn_info eth0 \t", "sn_info eth0 sn_info"},
    {"kxtool set_vf_status eth0 --m\t", "set_vf_status eth0 --mode"},
    {"kxtool set_vf_status eth0 --mode vf\t", "set_vf_status eth0 --mode vf2_max"},
    {"kxtool set_vf_status eth0 --mode all_vf --status dis\t", "set_vf_status eth0 --mode all_vf --status disable"},
    {"kxtool diag eth1 pcs\t", "diag eth1 pcsmac"},
    {"kxtool help temp\t", "help temp_info"},
    {"kxtool bind 0000:3b:01\t", "bind 0000:3b:01.0"},
    {"kxtool bind 0000:00:1\t", "bind 0000:00:1"},
    {"kxtool bind eth0 kxv\t", "bind eth0 kxvqm"},
    {"kxtool bind eth0 kxvqm gl\t", "bind eth0 kxvqm glb"},
    {"kxtool bind eth0 kxvqm glb vers\t", "bind eth0 kxvqm glb version"},
    {"kxtool bind 0000:3b:00.0 kxpcie link_s\t", "bind 0000:3b:00.0 kxpcie link_status"},
    {"kxvcard --st\t", "--state"},
    {"kxvcard --card a.j\t", "--card a.json"},
    {"kxvcard -- kxtool sn_i\t", "-- kxtool sn_info"},
    {"kxpkg ch\t", "check"},
    {"kxpkg --v\t", "--version"},
    {"kxpkg build \t", "build a.json"},
    {"kxpkg check b\t", "check b.bin"},
};

void drive(const Command& command, const std::string& setup) {
  Process shell(command);
  shell.send(
      "P=rea; PS1=${P}dy:; mkdir -p /tmp/kxtool/there && cd /tmp/kxtool/there && touch a.json b.bin; "
      "words_print() { printf 'runs[%s]' \"$*\"; echo; }; for n in kxtool kxvcard kxpkg; do "
      "eval \"$n() { words_print \\\"\\$@\\\"; }\"; done; " +
      setup + "\n");
  for (const Completion& row : COMPLETIONS) {
    ASSERT_TRUE(shell.expect("ready:")) << shell.output();
    shell.send(std::string(row.typed) + "\n");
    ASSERT_TRUE(shell.expect("runs[")) << row.typed << "\n" << shell.output();
    ASSERT_TRUE(shell.expect(std::string(row.runs) + "]", std::chrono::seconds(10))) << row.typed << "\n"
                                                                                     << shell.output();
  }
  shell.send("exit\n");
  shell.wait();
}

TEST(BashCompletion, CompletesOnTheTabKey) {
  drive({.words = {"--norc", "--noprofile", "-i"},
         .terminal = true,
         .columns = 500,
         .program = "/bin/bash",
         .environment = {"TERM=vt100"}},
        "source " KX_DOCS "/kxtool.bash; source " KX_SOURCE_DOCS "/kxpkg.bash");
}

TEST(ZshCompletion, CompletesOnTheTabKey) {
  if (access(ZSH, X_OK) != 0) {
    GTEST_SKIP() << "there is no zsh";
  }
  // As installed: a file that is found by its name.
  drive({.words = {"-f", "-i"}, .terminal = true, .columns = 500, .program = ZSH, .environment = {"TERM=vt100"}},
        "mkdir ../functions && cp " KX_DOCS
        "/kxtool.zsh ../functions/_kxtool && fpath=(/tmp/kxtool/functions $fpath) && autoload -Uz compinit && "
        "compinit -u -D");
}

}  // namespace
