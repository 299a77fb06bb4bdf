#include "device/compat.h"

#include <cstring>
#include <span>

#include "common/little_endian.h"
#include "common/report.h"
#include "device/bar.h"

namespace {

constexpr uint64_t RECORD_OFFSET = 0x5400;
constexpr uint64_t FEATURE_OFFSET = 0x1004;
constexpr size_t FEATURE_AREA_SIZE = 12;
// The feature word lies unaligned inside its area.
constexpr size_t FEATURE_WORD_AT = 2;

struct compat_cache {
  kxtools_compat_record record[KXTOOLS_COMPAT_NUM];
  uint64_t fw_feature;
};

constinit compat_cache cache = {};

// Copies device memory by aligned 32-bit words.
void words_read(const kx_mmio_region& bar, uint64_t offset, std::span<uint8_t> bytes) {
  for (size_t at = 0; at < bytes.size(); at += sizeof(uint32_t)) {
    kx_le_put(bytes, at, kx_mmio_read32(bar, offset + at));
  }
}

}  // namespace

int32_t kxtools_compat_info_init() {
  cache = {};
  for (uint32_t id = 0; id < KXTOOLS_COMPAT_NUM; id++) {
    cache.record[id].item = static_cast<uint8_t>(id + 1);
  }
  return 0;
}

int32_t kxtools_compat_version_init() {
  kxtools_dev_info info = {};
  if (kxtools_dev_info_get(&info) != 0) {
    return KXTOOLS_ERR("kxtools_dev_info_get failed!\n");
  }
  const kx_mmio_region bar = kxtools_dev_bar(info);
  compat_cache fresh = {};
  for (uint32_t id = 0; id < KXTOOLS_COMPAT_NUM; id++) {
    if (kxtools_compat_version_read(id, &bar, &fresh.record[id]) != 0) {
      return KXTOOLS_ERR("kxtools_compat_version_get failed!\n");
    }
  }
  if (kxtools_fw_feature_read(&bar, &fresh.fw_feature) != 0) {
    return KXTOOLS_ERR("kxtools_fw_feature_get failed!\n");
  }
  cache = fresh;
  return 0;
}

int32_t kxtools_compat_version_read(uint32_t id, const kx_mmio_region* bar, kxtools_compat_record* record) {
  if (id >= KXTOOLS_COMPAT_NUM) {
    return KXTOOLS_ERR("compat_id %u invalid, max value is %u!\n", id, KXTOOLS_COMPAT_NUM);
  }
  if (bar == nullptr || bar->base == nullptr || record == nullptr) {
    return KXTOOLS_ERR("point is NULL!\n");
  }
  const uint64_t offset = RECORD_OFFSET + id * sizeof(kxtools_compat_record);
  if (!bar->holds(offset, sizeof(kxtools_compat_record))) {
    return KXTOOLS_ERR("BAR 0 of 0x%llx bytes does not hold compatibility record %u!\n",
                       static_cast<unsigned long long>(bar->size), id);
  }
  uint8_t bytes[sizeof(kxtools_compat_record)];
  words_read(*bar, offset, bytes);
  memcpy(record, bytes, sizeof bytes);
  return 0;
}

int32_t kxtools_compat_version_if_exist(uint32_t id, const kx_mmio_region* bar, uint32_t* flag) {
  if (id >= KXTOOLS_COMPAT_NUM) {
    return KXTOOLS_ERR("compat_id %u invalid, max value is %u!\n", id, KXTOOLS_COMPAT_NUM);
  }
  if (bar == nullptr || bar->base == nullptr || flag == nullptr) {
    return KXTOOLS_ERR("point is NULL!\n");
  }
  kxtools_compat_record record = {};
  if (kxtools_compat_version_read(id, bar, &record) != 0) {
    return KXTOOLS_ERR("compat_id %u invalid, max value is %u!\n", id, KXTOOLS_COMPAT_NUM);
  }
  *flag = record.item == id + 1 ? 1 : 0;
  return 0;
}

int32_t kxtools_fw_feature_read(const kx_mmio_region* bar, uint64_t* word) {
  if (bar == nullptr || bar->base == nullptr || word == nullptr) {
    return KXTOOLS_ERR("point is NULL!\n");
  }
  uint8_t bytes[FEATURE_AREA_SIZE];
  if (!bar->holds(FEATURE_OFFSET, sizeof bytes)) {
    return KXTOOLS_ERR("BAR 0 of 0x%llx bytes does not hold the feature word!\n",
                       static_cast<unsigned long long>(bar->size));
  }
  words_read(*bar, FEATURE_OFFSET, bytes);
  *word = kx_le_get<uint64_t>(bytes, FEATURE_WORD_AT);
  return 0;
}

int32_t kxtools_compat_version_get(kxtools_compat_record* compat) {
  if (compat == nullptr) {
    return KXTOOLS_ERR("compat is NULL!\n");
  }
  memcpy(compat, cache.record, sizeof cache.record);
  return 0;
}

int32_t kxtools_fw_feature_get(uint64_t* fw_feature) {
  if (fw_feature == nullptr) {
    return KXTOOLS_ERR("fw_feature is NULL!\n");
  }
  *fw_feature = cache.fw_feature;
  return 0;
}

// The firmware may be newer than the command in its firmware minor number, the command newer than the firmware in its
// driver minor number.
int32_t kxtools_compat_record_check(uint32_t compat_id, const kxtools_compat_record& record, uint8_t major,
                                    uint8_t fw_minor, uint8_t drv_minor, const char* function, int line) {
  const auto refuse = [&](const char* what, unsigned cmd, const char* relation, unsigned fw) {
    kx_line_print(KX_STYLE_KXTOOLS_ERR, function, line, "cmd %s %u is %s fw %u!\n", what, cmd, relation, fw);
    return -1;
  };
  if (record.item != compat_id + 1) {
    return refuse("item", compat_id + 1, "not match", record.item);
  }
  if (major != record.major) {
    return refuse("major", major, "not match", record.major);
  }
  if (fw_minor > record.fw_minor) {
    return refuse("fw_minor", fw_minor, "higher than", record.fw_minor);
  }
  if (drv_minor < record.drv_minor) {
    return refuse("drv_minor", drv_minor, "lower than", record.drv_minor);
  }
  return 0;
}

uint32_t kxtools_is_big_endian() {
  return 1;
}

uint32_t kxtools_byte_switch(uint32_t value) {
  return __builtin_bswap32(value);
}
