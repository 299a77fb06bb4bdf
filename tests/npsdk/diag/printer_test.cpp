// Printers whose texts scripts read, letter by letter.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "card_device.h"
#include "command.h"
#include "dpp_diag/dpp_mcode.h"
#include "on_memory.h"
#include "qlix_comm/print.h"

namespace {

using diag_test::command;
using diag_test::run_result;
using np_test::memory;
using testing::EndsWith;
using testing::StartsWith;

const std::string frame = std::string(56, '=') + "\n";

using Printer = OnMemory;
using CardPrinter = OnVirtualCard;

TEST_F(CardPrinter, PortTotals) {
  const uint32_t ports[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 24, 25, 26};
  std::string expected = "Panel_Port: 0~9, RDMA_Port: 16, VQM_Port: 24, DTP_Port: 25, DRS_Port: 26\n";
  std::string counted;
  for (uint32_t port = 0; port < 31; ++port) {
    counted += (port == 0 ? "" : ",") + ("\"" + std::to_string(port)) + R"(": {"receive_packets": )" +
               std::to_string(100 + port) + R"(, "send_packets": "0x100000000"})";
  }
  insert("{\"ports\": {" + counted + "}}");
  uint64_t rx = 0;
  for (const uint32_t port : ports) {
    expected += "PORT_NO: " + std::to_string(port) + ", Rx pkt num: " + std::to_string(100 + port) +
                ", Tx pkt num: 4294967296\n";
    rx += 100 + port;
  }
  expected += "Total rx pkt num: " + std::to_string(rx) + ", Total Tx pkt num: 60129542144\n";
  EXPECT_EQ(command("diag_dpp_trpg_port_pkt_total_cnt_prt", {0}).out, expected);
}

TEST_F(Printer, PortTotalsStopAtAFailedRead) {
  memory().good_reads = 2 * 2;  // two ports
  const run_result result = command("diag_dpp_trpg_port_pkt_total_cnt_prt", {0});
  EXPECT_EQ(result.code, 1u);
  EXPECT_THAT(result.out, testing::HasSubstr("PORT_NO: 1, "));
  EXPECT_THAT(result.out, testing::Not(testing::HasSubstr("PORT_NO: 2, ")));
  EXPECT_THAT(result.out, EndsWith("\n QLIX  trpg.cpp:# [ErrorCode:0x1] !-- diag_dpp_trpg_port_pkt_total_cnt_prt Call "
                                   "dpp_trpg_rx_port_pkt_num_get Fail!\n"));
}

TEST_F(Printer, ReceiveCountersOfAPort) {
  const uint32_t counters[] = {0x014000 + 8 * 5, 0x014400 + 8 * 5, 0x014800 + 8 * 5, 0x014c00, 0x014c10};
  for (uint32_t i = 0; i < 5; ++i) {
    memory().words[counters[i]] = 0x10 + i;
    memory().words[counters[i] + 4] = 0x20 + i;
  }
  EXPECT_EQ(command("diag_dpp_pktrx_port_cnt_prt", {0, 5}).out,
            "port_id-005   isch_i_sop: 0x00000010          isch_i_eop: 0x00000020\n"
            "port_id-005   isch_o_sop: 0x00000011          isch_o_eop: 0x00000021\n"
            "port_id-005 parser_o_sop: 0x00000012        parser_o_eop: 0x00000022\n"
            "total     isch_o_total_sop: 0x00000013    isch_o_total_eop: 0x00000023\n"
            "total   parser_o_total_sop: 0x00000014  parser_o_total_eop: 0x00000024\n");
}

// Each of the five reads names its call, but the fourth names that of the first.
TEST_F(Printer, ReceiveCountersNameTheFailedRead) {
  const char* const calls[] = {"dpp_pktrx_stat_isch_i_port_cnt_get", "dpp_pktrx_stat_isch_o_port_cnt_get",
                               "dpp_pktrx_stat_parser_port_cnt_get", "dpp_pktrx_stat_isch_i_port_cnt_get",
                               "dpp_pktrx_stat_parser_cnt_get"};
  for (uint32_t failed = 0; failed < 5; ++failed) {
    memory().reads = 0;
    memory().good_reads = failed;
    const run_result result = command("diag_dpp_pktrx_port_cnt_prt", {0, 0});
    EXPECT_EQ(result.code, 1u);
    EXPECT_THAT(result.out, EndsWith("\n QLIX  pktrx.cpp:# [ErrorCode:0x1] !-- diag_dpp_pktrx_port_cnt_prt Call " +
                                     std::string(calls[failed]) + " Fail!\n"));
  }
}

TEST_F(CardPrinter, MicroCodeVersionAndFeatures) {
  insert(R"({"micro_code_version": "0x0a0b1234", "micro_code_build_time": "0x1a030907",
             "features": [1, 2, 3, 4, 5, "0x1abcdef01"]})");
  EXPECT_EQ(command("diag_dpp_mcode_version", {0}).out, frame +
                                                            "     NP-MCODE Version       :  10.11.4660\n"
                                                            "     NP-MCODE CompileTime   :  2026-03-09-07:00:00\n" +
                                                            frame);
  EXPECT_EQ(command("diag_dpp_mcode_feature_prt", {0, 5}).out, "MCODE FEATRUE[5] : 0x       1abcdef01\n");
  EXPECT_EQ(command("diag_dpp_mcode_feature_prt", {0, 6}).code, 0x1205u);
}

TEST_F(Printer, DriverVersionIsFramed) {
  EXPECT_THAT(command("diag_dpp_sdk_version", {}).out,
              testing::MatchesRegex("={56}\n     NP-SDK CompileTime   :  [^\n]+\n     NP-SDK CompiledBy    :  [^\n]+\n"
                                    "     NP-SDK Version       :  [^\n]+\n     NP-SDK GitID         :  [^\n]+\n"
                                    "     NP-SDK LastCommitTmie:  [^\n]+\n={56}\n"));
}

TEST_F(Printer, PrintLevel) {
  const std::string levels =
      "0:QLIX_TRACE_PRINT\n1:QLIX_TRACE_ERROR_PRINT\n2:QLIX_TRACE_INFO_PRINT\n3:QLIX_TRACE_DEBUG_PRINT\n"
      "4:QLIX_TRACE_ALL_PRINT\n";
  EXPECT_EQ(command("diag_dpp_comm_set_print_level", {77}).out, levels + "set print level is 77\n");
  EXPECT_EQ(command("diag_dpp_comm_get_print_level", {}).out, "get print level is 77\n");
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
}

std::string walk(uint32_t mode, uint32_t version, uint32_t expected_code) {
  return without_line_numbers(
      printed([&] { EXPECT_EQ(dpp_mcode_drop_stat_walk("kxnp_mcode_drop_stat", 0, mode, version), expected_code); }));
}

TEST_F(Printer, DropPointsThatCounted) {
  memory().words[0x202004] = 1;  // the window answers at once, with the same pair for every counter
  const struct {
    uint32_t version;
    int rows;
    const char* last;
  } tables[] = {{1, 94, "0x00011e32"}, {2, 112, "0x00011de6"}};
  for (const auto& [version, rows, last] : tables) {
    const std::string v = "v" + std::to_string(version);
    memory().words[0x202014] = 0;
    EXPECT_EQ(walk(0, version, 0), "");
    memory().words[0x202014] = 3;
    const std::string out = walk(0, version, 0);
    EXPECT_THAT(out, StartsWith(v + " drop stat index[0x00011d02] value[0x00000000,0x00000003] reason: "));
    EXPECT_THAT(out, testing::HasSubstr(v + " drop stat index[" + last + "]"));
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), rows);
    EXPECT_EQ(command("mcode_dropstat", {0, version}).out, v + " drop points: " + std::to_string(rows) +
                                                               ", with drops: " + std::to_string(rows) +
                                                               ", total drop: " + std::to_string(3 * rows) + "\n");
    EXPECT_EQ(walk(1, version, 0), "");
    EXPECT_EQ(memory().words[0x202000] & 0xC0000000, 0xC0000000);  // read and clear
  }
  EXPECT_EQ(walk(0, 3, 0x1205),
            "\n mcode_drop.cpp:#[Error:VALUE[0x3] INVALID] [min=0x1,max=0x2] ! FUNCTION :kxnp_mcode_drop_stat !\n");
  memory().fail_code = 9;
  EXPECT_THAT(walk(0, 1, 9), EndsWith("[ErrorCode:0x9] !-- kxnp_mcode_drop_stat Call dpp_stat_ppu_cnt_get Fail!\n"));
}

TEST_F(Printer, CapturedPacketInTheOrderOfTheWire) {
  memory().words[0x01a000] = 0x80010012;  // full, one packet, 18 bytes
  memory().words[0x01a040] = 0x01020304;
  memory().words[0x01a050] = 0xAABBCCDD;
  EXPECT_THAT(command("mcode_cap_pbu_print", {0}).out,
              EndsWith("cap_full: 1, cap_num: 1, cap_len: 18\n"
                       "0x0000: 01 02 03 04 00 00 00 00 00 00 00 00 00 00 00 00\n0x0010: aa bb\n"));
  memory().words[0x01a000] = 0xFFFFFFFF;  // a card that is gone: no more than the capture memory is read
  const std::string out = command("mcode_cap_pbu_print", {0}).out;
  EXPECT_THAT(out, testing::HasSubstr("0x00f0:"));
  EXPECT_THAT(out, testing::Not(testing::HasSubstr("0x0100:")));
}

TEST_F(Printer, ClearingReadsEveryCounterOnce) {
  EXPECT_EQ(command("clear_dpp", {0}).code, 0u);
  const uint32_t all = memory().reads;
  memory().reads = 0;
  EXPECT_EQ(command("clear_dpp_se", {0}).code, 0u);
  EXPECT_GT(memory().reads, 0u);
  EXPECT_LT(memory().reads, all / 4);
  EXPECT_TRUE(memory().writes.empty());
}

TEST_F(Printer, KernelShellSendsNothing) {
  const DppCmdEntry* entry = dpp_cmd_find("dpp_kshell");
  const std::string fits(255, 'x');
  const std::string long_text(256, 'x');
  DppCmdArgs args;
  caught_output out;
  args.text = fits.c_str();
  EXPECT_EQ(entry->func(*entry, args), 0x60Bu);
  args.text = long_text.c_str();
  EXPECT_EQ(entry->func(*entry, args), 0x1205u);
  EXPECT_EQ(without_line_numbers(out.take()),
            "dpp_kshell: this build cannot reach the NP shell in the kernel, nothing was sent.\n"
            "\n kshell.cpp:#[Error:VALUE[0x100] INVALID] [min=0x0,max=0xff] ! FUNCTION :dpp_kshell !\n");
}

}  // namespace
