// No word of a line is refused in silence: one line names what is wrong and what it is about. The texts that commands
// print on standard output are seen where each command is; here is what only standard error tells.
#include "system/process.h"

namespace {

using namespace kx_system;

struct Refusal {
  const char* line;
  const char* cause;  // both stand in one line of what the tool prints
  const char* target;
};

// Typed by the super user, in one shell: no refusal ends it.
constexpr Refusal REFUSALS[] = {
    // The shell's own commands.
    {"kxtool kxnp", "without 'kxtool' before it", "kxnp"},
    {"quit now", "takes no words", "quit"},
    {"logout now", "takes no words", "logout"},
    {"su", "takes one word", "su"},
    {"su root", "is not the access word", "root"},
    {"help me", "is unknown", "me"},
    {"help sn_inf", "did you mean 'kxtool sn_info'", "sn_inf"},
    {"help quit now", "is no command", "now"},
    {"   ", "is no command", "blanks"},
    // Maintenance commands.
    {"kxtool sn_info eth0 sn_inf", "did you mean 'sn_info'", "sn_inf"},
    {"kxtool link eth0 -x", "stands where '-m' must", "-x"},
    {"kxtool diag eth0", "is missing", "diag"},
    {"kxtool diag eth0 vqn", "did you mean 'vqm'", "vqn"},
    {"kxtool diag eth0 vqm np", "one word too many", "diag: 'np'"},
    {"kxtool stat eth0 pcie", "is no unit of the card", "pcie"},
    {"kxtool fwupdate eth0 part version", "one word too many", "'version'"},
    {"kxtool fwupdate eth0 /dev/null --dryrun", "did you mean '--dry-run'", "--dryrun"},
    {"kxtool fwupdate eth0 versoin", "did you mean 'version'", "versoin"},
    {"kxtool fwupdate 0000:00:1f.6 version", "is no function of such a card", "0000:00:1f.6"},
    {"kxtool devmem eth0", "a value is missing", "devmem"},
    {"kxtool devmem eth0 npp 0", "did you mean 'np'", "npp"},
    {"kxtool devmem eth0 np", "address behind the unit is missing", "devmem"},
    {"kxtool devmem eth0 np 0 vla 1", "did you mean 'val'", "vla"},
    {"kxtool devmem eth0 np 0 len", "the number behind 'len' is missing", "devmem"},
    {"kxtool devmem eth0 np 0 val 1 --verfy", "only --verify may follow", "devmem: '--verfy'"},
    {"kxtool devmem eth0 np zero", "is no number", "zero"},
    {"kxtool devmem eth0 np 0 val 0x100000000", "is no number", "0x100000000"},
    {"kxtool regsdump eth0", "'all' is missing", "regsdump"},
    {"kxtool regsdump eth0 all --fiel /tmp/x", "did you mean '--file'", "--fiel"},
    {"kxtool regsdump eth0 all --file /no/dir/x", "No such file or directory", "/no/dir/x"},
    // Modules, most of whose commands end with 0 whatever happened.
    {"kxvqm vring 4096", "out of range", "4096"},
    {"kxvqm glb x", "is no command of glb", "'x'"},
    {"kxvqm hsot", "did you mean 'host'", "hsot"},
    {"kxvqm others", "has no commands", "others"},
    {"kxvqm debug opne", "did you mean 'open'", "opne"},
    {"kxbttl dxge", "'-h' shows them", "dxge"},
    {"kxbttl dxge 1 dmup 0 1", "did you mean 'dump'", "dmup"},
    {"kxbttl dxge 1 dump 0", "<path 0..1> <port 1..3>", "kxbttl dxge 1 dump"},
    {"kxtrace_app trace", "'-h' shows them", "trace"},
    {"kxtrace_app trace verison", "did you mean 'version'", "verison"},
    {"kxtrace_app np rate", "a word is missing", "np rate 1 [port 0..15]"},
    {"kxtrace_app np rate 1 x", "is no portid from 0 to 15", "'x'"},
    {"kxtrace_app np rate 1 0 9", "one word too many", "'9'"},
    {"kxnp diag_dpp_stat_ca", "did you mean 'diag_dpp_stat_car'", "diag_dpp_stat_ca"},
    {"kxnp diag_dpp_stat_car zero", "is no number of 32 bits", "diag_dpp_stat_car takes it for 0x0"},
    {"kxnp diag_dpp_stat_car 0x", "is no number of 32 bits", "'0x'"},
    {"kxpcie link_status --verify", "takes no options", "link_status"},
    {"kxpcie devmem_write 0 1 --verfy", "did you mean '--verify'", "--verfy"},
    {"kxpcie bar_write 0 0 1 --check", "there are --verify", "--check"},
    {"kxpcie devmem_write 0x6208000000 1 --verify", "does not hold what was written", "0x6208000000"},
    {"kxpcie tunnel_mode acess 1", "did you mean 'access'", "acess"},
    {"kxpcie margin alll", "did you mean 'all'", "alll"},
};

TEST(Refusals, NameTheWordAndWhatIsWrongWithIt) {
  std::string input = "0\nsu opsu\n";
  for (const Refusal& row : REFUSALS) {
    input += std::string(row.line) + "\n";
  }
  const Result result = run({.input = input + "quit\n"});
  const std::vector<std::string> told = lines_of(result.out + "\n" + result.err);
  for (const Refusal& row : REFUSALS) {
    EXPECT_THAT(told, Contains(AllOf(HasSubstr(row.cause), HasSubstr(row.target)))) << row.line;
  }
  EXPECT_EQ(result.status, 255);
}

}  // namespace
