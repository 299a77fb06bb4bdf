// kxpcie: what the reports show of the card, and that they leave it alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "system/session.h"

namespace {

using namespace kx_system;

std::string only(const std::string& card, const std::string& command) {
  return session::line_run(card, "kxpcie " + command);
}

TEST(KxpcieReports, ShowWhatTheCardFileSets) {
  const std::vector<session::Row> rows = {
      {"cfg_dump", testing::_},
      {"cap_list", HasSubstr("\n0x50    11  MSI-X\n0x60    10  PCI Express\n")},
      {"ecap_list", AllOf(HasSubstr("\n0x180   0010  1        Single Root I/O Virtualization\n"),
                          HasSubstr("\n0x2c0   0027  1        Lane Margining at the Receiver\n"))},
      {"bar_list", HasSubstr("\n0    0x0000380000000000  0x00100000  memory, 64 bit, prefetchable\n")},
      {"cfg_read 0", StartsWith("0x000: 0x80371cf2\n")},
      {"cfg_read 2 2", StartsWith("0x002: 0x8037\n")},
      {"cfg_read 1 1", StartsWith("0x001: 0x1c\n")},
      {"cfg_dump 0x34 8", StartsWith("0000000034  00000040 00000000                    |@.......|\n")},
      {"bar_read 0 0x10030 2", StartsWith("BAR 0 0x00010030: 0xfee00000\nBAR 0 0x00010034: 0x00000000\n")},
      {"bar_dump 0 0x10030 20", StartsWith("0000010030  fee00000 00000000 00004003 00000001  |.........@......|\n"
                                           "0000010040  fee00000                             |....|\n")},
      {"devmem 0x6208000000 2", StartsWith("0x6208000000: 0x20250129\n0x6208000004: 0x20250129\n")},
      {"addr_dump 0x8400000000 4", StartsWith("8400000000  80371cf2                             |..7.|\n")},
      {"dbi_read 2 0x100", StartsWith("0x0000000100: 0x18010001\n")},
      {"csr_read 4 0x10", StartsWith("0x0000000010: 0x0000beef\n")},
      {"msix_dump", AllOf(StartsWith("MSI-X on, function not masked, 64 vectors, table at BAR 0 0x10000, pending bits "
                                     "at BAR 0 0x18000\n"),
                          HasSubstr("\n     2  0x00000000fee00000  0x00004002  no      no\n"
                                    "     3  0x00000000fee00000  0x00004003  yes     no\n"),
                          HasSubstr("\n    63  0x00000000fee00000  0x0000403f  no      yes\n"))},
      {"msi_dump", StartsWith("MSI off, vectors 1 of 32\naddress 0x00000000fee00000 data 0x4021\n"
                              "mask    0x0000000f\npending 0x00000002\n")},
      {"aer_dump", StartsWith("uncorrectable errors: status 0x00504001, mask 0x00400000, severity 0x00463030\n"
                              "  Completion Timeout                 non-fatal   reported\n"
                              "  Unsupported Request Error          non-fatal   reported, first\n"
                              "  Uncorrectable Internal Error       fatal       masked\n"
                              "  bits without a name                0x00000001\n"
                              "correctable errors: status 0x00000040, mask 0x00006000\n"
                              "  Bad TLP                            correctable reported\n"
                              "header log: 04030201 00000000 00000000 00000000\n")},
      {"dev_status", AllOf(HasSubstr("  Non-Fatal Error Detected           yes\n"),
                           HasSubstr("  Fatal Error Detected               no\n"),
                           HasSubstr("  Max Payload Size                   256 bytes of 512\n"))},
      {"link_status",
       AllOf(StartsWith("speed        8.0 GT/s of 16.0 GT/s  DEGRADED\nwidth        x8 of x16  DEGRADED\n"
                        "speeds       2.5 GT/s 5.0 GT/s 8.0 GT/s 16.0 GT/s"),
             HasSubstr("\nASPM         L1, supported: L0s and L1\n"))},
      {"eq_status", AllOf(StartsWith("8.0 GT/s: NOT COMPLETE, phases done: none, the link asks for another one\n"),
                          HasSubstr("\n16.0 GT/s: NOT COMPLETE, phases done: 1, the link asks for another one\n"),
                          HasSubstr("\n  15  preset 4         preset 6\n"))},
      {"sriov",
       AllOf(StartsWith("VFs                    on, memory on\nVF count               4 of 256, initial 256\n"),
             HasSubstr("\nVF device              0x8040\n"),
             HasSubstr("\nARI                    next function 1, function groups: MFVC no, ACS no\n"))},
      {"power", StartsWith("power state          D3hot\n")},
      {"vpd_dump", AllOf(StartsWith("    identifier          rack 7\nPN  part number         XXX BOARDTYPE\n"),
                         HasSubstr("\nSN  serial number       S1\nRV  checksum            WRONG\n"))},
      {"smmu",
       AllOf(StartsWith("Address Translation Services  on\n"),
             HasSubstr("\nIOMMU group                   7, functions in it:\n  0000:3b:00.0\n  0000:3b:00.1\n"))},
      {"cfg_dump 0 0xb0", testing::_},
  };
  const auto session = session::expect_shows(R"({
      "bar0": {"size": "0x100000"},
      "functions": {"0000:3b:00.0": {"uncorrectable_errors": "0x00504001", "correctable_errors": "0x40",
                                     "first_error": 20, "header_log": "01020304", "device_errors": 2, "vfs_on": 4,
                                     "power_state": 3, "iommu_group": 7},
                    "0000:3b:00.1": {"iommu_group": 7}},
      "link": {"speed": 3, "width": 8, "equalised": false},
      "interrupts": {"masked": [3], "pending": [63]},
      "product_data": {"identifier": "rack 7", "serial_number": "S1", "checksum_wrong": true},
      "memory": {"0x6320100010": "0xbeef"}})",
                                             "kxpcie ", rows);
  EXPECT_THAT(session.outputs, Each(Not(HasSubstr("failed"))));
  EXPECT_THAT(session.outputs.front(), StartsWith(session.outputs.back())) << "the card was left alone";
  EXPECT_THAT(session.result.log_of("card_write"), IsEmpty());
}

TEST(KxpcieReports, DependOnWhatTheLinkAndTheFunctionAre) {
  const auto config = [](const char* keys, const char* rest = "") {
    return std::string(R"({"functions": {"0000:3b:00.0": {"config": {)") + keys + "}}}" + rest + "}";
  };
  const struct {
    std::string card;
    const char* command;
    testing::Matcher<const std::string&> shows;
  } cases[] = {
      {"{}", "link_status", StartsWith("speed        16.0 GT/s of 16.0 GT/s\nwidth        x16 of x16\n")},
      // Of equalisation from 8 GT/s on; a link of that speed has registers of faster ones, which say nothing of it.
      {R"({"link": {"speed": 2, "equalised": false}})", "eq_status",
       "the link runs at 5.0 GT/s of 16.0 GT/s: it is equalised from 8.0 GT/s on\n"},
      {config(R"("0x6c": "82")", R"(, "link": {"speed": 2})"), "eq_status",
       "the link runs at 5.0 GT/s of 5.0 GT/s: it is equalised from 8.0 GT/s on\n"},
      {config(R"("0x6c": "03")", R"(, "link": {"speed": 3})"), "eq_status",
       AllOf(StartsWith("8.0 GT/s: complete, "), Not(HasSubstr("16.0 GT/s")))},
      // 64 bits, masks, extended data on; then the same with the data word that is 16 bits wide.
      {config(R"("0xc2": "8b07", "0xcc": "21403412")"), "msi_dump",
       StartsWith("MSI on, vectors 1 of 32\naddress 0x00000000fee00000 data 0x12344021\n")},
      {config(R"("0xc2": "8b01", "0xcc": "21403412")"), "msi_dump",
       StartsWith("MSI on, vectors 1 of 32\naddress 0x00000000fee00000 data 0x4021\n")},
  };
  for (const auto& c : cases) {
    EXPECT_THAT(only(c.card, c.command), c.shows) << c.card;
  }
}

TEST(KxpcieReports, SayWhatAFunctionDoesNotHave) {
  session::expect_shows(
      R"({"functions": {"0000:3b:00.0": {"power_capability": false}},
          "bar0": {"size": "0x10100"}, "product_data": {"bytes": "82ffff41"}})",
      "kxpcie ",
      {{"power", HasSubstr("the function has no Power Management capability\n")},
       {"msix_dump", HasSubstr("0x400 bytes at offset 0x10000 do not lie in BAR 0 of 0x10100 bytes\n")},
       {"vpd_dump", HasSubstr("product data ends after 4 bytes without its end tag\n")}});
}

TEST(KxpcieReports, EndAtBrokenChains) {
  const std::vector<session::Row> rows = {
      {"cfg_write 0x61 0x60 1", testing::_},
      {"cap_list", EndsWith("PCI Express\n0x60    10  PCI Express\n")},
      {"msi_dump", HasSubstr("the function has no Message Signaled Interrupts capability\n")},
      {"cfg_write 0x102 0x1001 2", testing::_},
      {"ecap_list", EndsWith("Reporting\n0x100   0001  1        Advanced Error Reporting\n")},
      {"sriov", "SR-IOV                 none\nARI                    none\n"},
      {"cfg_write 0x34 0xff 1", testing::_},
      {"cap_list", "offset  id  capability\nnone\n"},
  };
  session::expect_shows("{}", "kxpcie ", rows, true);
}

TEST(KxpcieBlackBox, HoldsEveryReportAndRefusesLinks) {
  const Folder folder;
  const std::string file = folder.path() + "/box";
  const std::string link = folder.path() + "/link";
  ASSERT_EQ(symlink(file.c_str(), link.c_str()), 0);
  const auto session = session::run(R"({"product_data": {"bytes": ""}})",
                                    {"kxpcie black_box " + file, "kxpcie black_box " + link,
                                     "kxpcie addr_dump 0x8400000000 32 " + folder.path() + "/dump"});
  EXPECT_THAT(session.outputs[0], AllOf(HasSubstr("/vpd failed: No such file or directory\n"),
                                        HasSubstr("13 of 14 sections written to " + file + "\n")));
  EXPECT_THAT(session.outputs[1], HasSubstr("cannot make " + link + ": File exists\n"));
  const std::string text = Folder::read(file);
  EXPECT_THAT(text, AllOf(StartsWith("PCI Express state of 0000:3b:00.0, "), HasSubstr("\n== link status ==\nspeed "),
                          HasSubstr("\n== product data ==\nnot available\n"),
                          HasSubstr("\n== configuration space ==\n0000000000  80371cf2 ")));
  EXPECT_EQ(session.outputs[2], "32 bytes from 0x8400000000 written to " + folder.path() + "/dump\n");
  EXPECT_THAT(Folder::read(folder.path() + "/dump"), StartsWith("8400000000  80371cf2 00000000 "));
}

}  // namespace
