// Versions of driver and micro-code.
#include "build_id/build_id.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_mcode.h"
#include "dpp_diag/dpp_pktrx.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t MCODE_VERSION_ENTRY = 10;

void frame_print() {
  QLIX_COMM_PRINT("%s\n", "========================================================");
}

uint32_t byte_of(uint32_t word, uint32_t low) {
  return word >> low & 0xFF;
}

}  // namespace

uint32_t diag_dpp_sdk_version() {
  frame_print();
  QLIX_COMM_PRINT("     NP-SDK CompileTime   :  %s\n", KX_BUILD_DATE " " KX_BUILD_TIME);
  QLIX_COMM_PRINT("     NP-SDK CompiledBy    :  %s\n", KX_BUILD_USER "@" KX_BUILD_HOST);
  QLIX_COMM_PRINT("     NP-SDK Version       :  %s\n", KX_BUILD_VERSION);
  QLIX_COMM_PRINT("     NP-SDK GitID         :  %s\n", KX_BUILD_GIT_ID);
  QLIX_COMM_PRINT("     NP-SDK LastCommitTmie:  %s\n", KX_BUILD_GIT_TIME);
  frame_print();
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_mcode_version(uint32_t dev_id) {
  uint32_t words[2] = {};
  QLIX_COMM_CALL(dpp_pktrx_udf_table_get, dev_id, MCODE_VERSION_ENTRY, words);
  frame_print();
  QLIX_COMM_PRINT("     NP-MCODE Version       :  %d.%d.%d\n", byte_of(words[0], 24), byte_of(words[0], 16),
                  words[0] & 0xFFFF);
  QLIX_COMM_PRINT("     NP-MCODE CompileTime   :  20%02d-%02d-%02d-%02d:00:00\n", byte_of(words[1], 24),
                  byte_of(words[1], 16), byte_of(words[1], 8), byte_of(words[1], 0));
  frame_print();
  return QLIX_COMM_OK;
}

uint32_t dpp_mcode_feature_get(uint32_t dev_id, uint32_t index, uint64_t* feature) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, DPP_MCODE_FEATURE_NUM - 1);
  QLIX_COMM_CHECK_POINT(feature);
  DPP_REG_READ(dpp_regs::mcode_feature, fields, dev_id, 0, index);
  *feature = uint64_t{fields.feature_h} << 32 | fields.feature_l;
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_mcode_feature_prt(uint32_t dev_id, uint32_t index) {
  uint64_t feature = 0;
  QLIX_COMM_CALL(dpp_mcode_feature_get, dev_id, index, &feature);
  QLIX_COMM_PRINT("MCODE FEATRUE[%d] : 0x%16llx\n", index, static_cast<unsigned long long>(feature));
  return QLIX_COMM_OK;
}
