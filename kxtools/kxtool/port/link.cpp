// "link <device> -m": what is plugged into the port.
#include <cmath>
#include <cstring>

#include "common/plural.h"
#include "common/report.h"
#include "port/module_decode.h"
#include "port/module_eeprom.h"
#include "port/port.h"
#include "startup/words.h"

namespace {

// "0.5000 mW (-3.01 dBm)"; no light has no logarithm.
void light_print(const char* name, double mw) {
  if (mw > 0) {
    kx_print("  %s %.4f mW (%.2f dBm)", name, mw, 10 * std::log10(mw));
  } else {
    kx_print("  %s 0.0000 mW (no light)", name);
  }
}

void monitors_print(const module_info& info) {
  if (!info.has_monitors) {
    kx_print("  monitors      the module has none\n");
    return;
  }
  kx_print("  temperature   %.2f degrees Celsius\n", info.temperature);
  kx_print("  voltage       %.4f V\n", info.voltage);
  for (uint32_t lane = 0; lane < info.lane_count; ++lane) {
    kx_print("  lane %u      ", lane + 1);
    light_print("receive", info.lanes[lane].receive_mw);
    light_print("send", info.lanes[lane].send_mw);
    kx_print("  bias %.3f mA\n", info.lanes[lane].bias_ma);
  }
}

// The maker's date is yymmdd and a lot; anything else is shown as it stands.
void date_print(const char* date) {
  if (strspn(date, "0123456789") >= 6) {
    kx_print("  date          20%.2s-%.2s-%.2s%s%s\n", date, date + 2, date + 4, date[6] == '\0' ? "" : " lot ",
             date + 6);
  } else {
    kx_print("  date          %s\n", date);
  }
}

void module_print(const module_info& info) {
  kx_print("  type          %s (0x%02x)\n", info.kind, info.identifier);
  kx_print("  vendor        %s\n", info.vendor);
  kx_print("  vendor OUI    %02x:%02x:%02x\n", info.oui[0], info.oui[1], info.oui[2]);
  kx_print("  part          %s\n", info.part);
  kx_print("  revision      %s\n", info.revision);
  kx_print("  serial        %s\n", info.serial);
  date_print(info.date);
  if (info.bit_rate != 0) {
    kx_print("  bit rate      %u Mbit/s a lane\n", info.bit_rate);
  }
  monitors_print(info);
}

int module_show(const char* interface) {
  std::vector<uint8_t> eeprom;
  if (module_eeprom_read(interface, &eeprom) != 0) {
    return 1;
  }
  module_info info;
  switch (module_decode(eeprom, &info)) {
    case module_decode_result::too_short:
      KXTOOLS_ERR("%s: the module's answer ends after %zu byte%s\n", interface, eeprom.size(),
                  kx_plural(eeprom.size()));
      return 1;
    case module_decode_result::unknown_identifier:
      KXTOOLS_ERR("%s: module of an unknown kind, identifier 0x%02x\n", interface, info.identifier);
      return 1;
    case module_decode_result::good:
      break;
  }
  kx_print("module of %s\n", interface);
  module_print(info);
  if (!info.sums_good) {
    KXTOOLS_ERR("%s: the module's identity fails its check sums, do not trust it\n", interface);
    return 1;
  }
  return 0;
}

}  // namespace

const char kxtool_link_usage[] = R"(    COMMAND:
        link
    SYNOPSIS:
        kxtool link <device> -m
    DESCRIPTION:
        Shows the module or cable in the network port behind an interface: kind, maker, part, serial
        number, temperature, voltage, and light and bias current of each lane.
    OPTIONS:
        <device>    network interface of the card
        -m          the plugged module or cable
    EXIT STATUS:
        0 shown, 1 no module, unreadable, or its identity fails its check sums
    EXAMPLES:
        kxtool link eth0 -m)";

int kxtool_link(kxtool_cmd_ctx* ctx) {
  static constexpr const char* WORDS[] = {"-m"};
  if (ctx->argc != 1 || strcmp(ctx->argv[0], WORDS[0]) != 0) {
    kx_print("%s\n", ctx->option->usage);
    kxtool_words_explain(*ctx, WORDS);
    return 1;
  }
  return module_show(ctx->device_word);
}
