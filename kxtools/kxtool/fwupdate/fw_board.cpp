// A package is written only to a card of its board type.
#include "common/report.h"
#include "fw_args.h"
#include "fw_log.h"
#include "fw_tell.h"
#include "info/part_number.h"

namespace {

constexpr int EXIT_NO_HEADER = 2;
constexpr int EXIT_NO_BOARD_TYPE = 3;
constexpr int EXIT_NO_MATCH = 4;

constexpr kx_line_style STYLE_BOARD{"", " ", nullptr};

// On standard output and, as every failure, in the log.
#define FW_BOARD_ERR(...)              \
  do {                                 \
    KX_LINE(STYLE_BOARD, __VA_ARGS__); \
    FW_ERR(__VA_ARGS__);               \
  } while (0)

bool package_type_get(const fw_header& header, fw_board_type* type) {
  const std::string_view text = header.identification();
  switch (fw_board_type_of_identification(text, type)) {
    case fw_board_result::ok:
      return true;
    case fw_board_result::invalid_format:
      FW_BOARD_ERR("'%s' is invalid format, should be 'TARN-FW-BOARDTYPE-XXX'!\n", fw_text_printable(text).data());
      return false;
    case fw_board_result::too_long:
      FW_BOARD_ERR("boardtype len is larger than %d!\n", FW_BOARD_TYPE_MAX);
      return false;
  }
  return false;
}

bool card_type_get(const kxtool_part_number& pn, fw_board_type* type) {
  switch (fw_board_type_of_part_number(pn.text, type)) {
    case fw_board_result::ok:
      return true;
    case fw_board_result::invalid_format:
      FW_BOARD_ERR("pn '%s' is invalid format, should be 'XXX BOARDTYPE'!\n", fw_text_printable(pn.text).data());
      return false;
    case fw_board_result::too_long:
      FW_BOARD_ERR("boardtype len is larger than %d!\n", FW_BOARD_TYPE_MAX);
      return false;
  }
  return false;
}

}  // namespace

int fw_upd_boardtype_verify(fw_update* update) {
  fw_header header;
  if (fw_package_header_read(update->package, FW_PART_A, &header) != 0) {
    FW_BOARD_ERR("read verpkg info failed!\n");
    fw_cause_tell("the package has no header with a whole image table: it is cut short or no version package");
    return EXIT_NO_HEADER;
  }
  fw_board_type package_type;
  if (!package_type_get(header, &package_type)) {
    FW_BOARD_ERR("boardtype get failed from verpkg!\n");
    fw_cause_tell("the package does not say which board type it is for");
    return EXIT_NO_BOARD_TYPE;
  }
  kxtool_part_number pn = {};
  const int32_t ret = kxtool_pn_get(update->device, &pn);
  if (ret == KXTOOL_PN_NOT_SUPPORTED) {
    FW_INFO("the card does not tell its part number, board types are not compared\n");
    return 0;
  }
  if (ret != 0) {
    FW_BOARD_ERR("pn get failed!\n");
    fw_cause_tell("the card does not tell its part number, so its board type is not known");
    return EXIT_NO_BOARD_TYPE;
  }
  if (!card_type_get(pn, &update->board_type)) {
    FW_BOARD_ERR("boardtype get failed from pn!\n");
    fw_cause_tell("the card's part number does not say its board type");
    return EXIT_NO_BOARD_TYPE;
  }
  if (!fw_board_type_match(package_type, update->board_type)) {
    const auto package_text = fw_text_printable(package_type.data());
    const auto card_text = fw_text_printable(update->board_type.data());
    FW_BOARD_ERR("boardtype of verpkg is '%s', boardtype of pn is '%s', not match!\n", package_text.data(),
                 card_text.data());
    fw_cause_tell(
        kx_text("the package is for the board type '%s', the card is a '%s'", package_text.data(), card_text.data()));
    return EXIT_NO_MATCH;
  }
  return 0;
}
