// Packet and bit rates, measured over whole seconds of the clock that goes on while the machine sleeps.
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <span>

#include "common/report.h"
#include "handlers.h"
#include "registers.h"

namespace {

constexpr int64_t NS_PER_S = 1000000000;

/// The order of the registers in every rate list.
enum counter : size_t { TX_PACKETS, TX_BYTES, RX_PACKETS, RX_BYTES, COUNTERS };
using sample = std::array<uint64_t, COUNTERS>;

struct rate_path {
  const char* name;
  const char* index_name;
  std::string_view list;
  uint64_t base;
  uint32_t index_end;
};

constexpr rate_path VQM = {"vqm", "vfid", "vqm.rate", KX_CARD_VQM_VF_COUNTERS, TRACE_VF_NUM};
constexpr rate_path DTP = {"dtp", "portid", "dtp.rate", KX_CARD_TRACE, TRACE_DTP_PORT_NUM};
constexpr rate_path NP = {"np", "portid", "np.rate", KX_CARD_TRACE, TRACE_NP_PORT_NUM};

static_assert(TRACE_REGISTERS.list(VQM.list).size() == COUNTERS && TRACE_REGISTERS.list(DTP.list).size() == COUNTERS &&
              TRACE_REGISTERS.list(NP.list).size() == COUNTERS);

int64_t now_ns() {
  timespec now = {};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return now.tv_sec * NS_PER_S + now.tv_nsec;
}

void sleep_until(int64_t when_ns) {
  const timespec when = {.tv_sec = when_ns / NS_PER_S, .tv_nsec = when_ns % NS_PER_S};
  while (clock_nanosleep(CLOCK_BOOTTIME, TIMER_ABSTIME, &when, nullptr) == EINTR) {
  }
}

int32_t read_sample(const rate_path& path, uint32_t index, sample* values) {
  const std::span<const kx_register_description> rows = TRACE_REGISTERS.list(path.list);
  for (size_t i = 0; i < COUNTERS; ++i) {
    if (trace_reg_read(path.base, rows[i], index, &(*values)[i]) != 0) {
      return -1;
    }
  }
  return 0;
}

// Every counter is read twice a whole number of seconds apart: the second sample begins that long after the beginning
// of the first. A first sample that took longer than a second makes the measurement longer, not wrong.
int32_t measure(const rate_path& path, uint32_t index) {
  sample first = {};
  sample second = {};
  const int64_t begin = now_ns();
  if (read_sample(path, index, &first) != 0) {
    return -1;
  }
  sleep_until(begin + ((now_ns() - begin) / NS_PER_S + 1) * NS_PER_S);
  // At least 1, also where the sleep was refused.
  const auto seconds = static_cast<uint64_t>(std::max<int64_t>((now_ns() - begin) / NS_PER_S, 1));
  if (read_sample(path, index, &second) != 0) {
    return -1;
  }
  const auto per_second = [&](counter which) -> unsigned long long { return (second[which] - first[which]) / seconds; };
  const auto bits_per_second = [&](counter which) -> unsigned long long {
    return (second[which] - first[which]) * 8 / seconds;
  };
  // One catch a call: its number is always 0.
  kx_print("[\033[33mcatch: %u\033[0m] tx: %llu pps, %llu bps; rx: %llu pps, %llu bps\n", 0u, per_second(TX_PACKETS),
           bits_per_second(TX_BYTES), per_second(RX_PACKETS), bits_per_second(RX_BYTES));
  return 0;
}

// The index is the third word; the second is there only because the table asks for more words than one.
int32_t show_rate(const rate_path& path, char** words, uint32_t count) {
  uint32_t index = 0;
  if (count > 2) {
    char* rest = nullptr;
    errno = 0;
    const unsigned long value = strtoul(words[2], &rest, 10);
    if (count > 3 || rest == words[2] || *rest != '\0') {
      trace_cmd_usage();
      if (count > 3) {
        kx_error_print("kxtool: '%s' is one word too many\n", words[3]);
      } else {
        kx_error_print("kxtool: '%s' is no %s from 0 to %u\n", words[2], path.index_name, path.index_end - 1);
      }
      return -1;
    }
    index = errno == ERANGE || value > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(value);
  }
  if (index >= path.index_end) {
    kx_print("invalid %s, %s: %u\n", path.index_name, path.index_name, index);
    return -1;
  }
  kx_print("[\033[32m%s rate\033[0m]: %s: %u\n", path.name, path.index_name, index);
  return measure(path, index);
}

}  // namespace

int32_t dpu_vqm_info_rate(uint64_t, char** words, uint32_t count) {
  return show_rate(VQM, words, count);
}

int32_t dpu_dtp_info_rate(uint64_t, char** words, uint32_t count) {
  return show_rate(DTP, words, count);
}

int32_t dpu_np_info_rate(uint64_t, char** words, uint32_t count) {
  return show_rate(NP, words, count);
}
