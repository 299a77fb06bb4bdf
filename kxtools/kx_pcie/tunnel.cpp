#include "kx_pcie/tunnel.h"

#include <sys/prctl.h>
#include <unistd.h>

#include "common/report.h"
#include "forbidden_address.h"
#include "kx_pcie/card_lock.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/pcie_lock.h"

namespace {

// What the card's end of the tunnel understands. The flag is 1 for a write to the tunnel and 0 for a read.
constexpr uint32_t SET_ADDRESS = struct_vpd_kx_addr(1, 0x1000);
constexpr uint32_t READ_WORD = struct_vpd_kx_addr(0, 0x2000);
constexpr uint32_t WRITE_WORD = struct_vpd_kx_addr(1, 0x3000);
constexpr uint32_t RESET = struct_vpd_kx_addr(1, 0x4000);
constexpr uint32_t READ_STATUS = struct_vpd_kx_addr(0, 0x5000);
constexpr uint32_t STATUS_GOOD = 1;
constexpr uint32_t FLAG = 1u << 31;

constexpr int POLL_MAX = 20001;
constexpr useconds_t POLL_STEP_US = 10;
constexpr unsigned long long TIMEOUT_MS = 200;

// The kernel may lengthen every sleep by its timer slack, 50 us unless told otherwise: five times the poll.
constexpr unsigned long TIMER_SLACK_NS = 1000;

// Another program that reads the kernel's file of product data uses the same two dwords, and the kernel knows nothing
// of the lock file. Its addresses have none of these bits, which no user of the channel changes and every command has.
constexpr uint32_t COMMAND_BITS = 0x70000000;
constexpr int TRIES = 20;
constexpr useconds_t TRY_STEP_US = 5000;  // a reader needs tens of milliseconds for all of it

constexpr int FREE_READINGS_MAX = 20;
constexpr int FREE_READINGS_NEEDED = 3;
constexpr useconds_t FREE_STEP_US = 4000;
constexpr uint32_t FREE_MARK = 0x555;

constexpr uint32_t MODE_MAX = 3;
constexpr uint32_t MODE_CHECKED = 0;      // the address is checked
constexpr uint32_t MODE_PLAIN_WRITE = 1;  // the only mode in which writes are not checked

kxtools_sbdf bound_sbdf = KXTOOLS_SBDF_NONE;
uint32_t access_mode = MODE_CHECKED;
uint32_t secure_mode = 0;
bool sleeps_are_short = false;
bool data_is_kept = true;  // by the card, of what is written to the tunnel

bool is_secure() {
  return secure_mode == 1;
}

// Bits 32 to 43 of the card address lie in bits 16 to 27 of the command, the mode in bits 24 and 25. The card defines
// the overlap of the mode with address bits 40 and 41.
uint32_t set_address_command(uint64_t address, uint32_t mode) {
  return SET_ADDRESS | (static_cast<uint32_t>(address >> 16) & 0x0FFF0000) | mode << 24;
}

// The other users of the channel step the 12-bit field while they work and leave the mark in it when they are done.
int32_t check_channel_is_free(kxtools_sbdf sbdf, uint32_t capability) {
  uint32_t first = 0;
  bool changed = false;
  int marks = 0;
  for (int i = 0; i < FREE_READINGS_MAX; ++i) {
    if (i > 0) {
      usleep(FREE_STEP_US);
    }
    uint32_t command = 0;
    if (pcie_cfg_read_dword(sbdf, capability, &command) != 0) {
      return -1;
    }
    const uint32_t field = command >> 16 & 0xFFF;
    marks = field == FREE_MARK ? marks + 1 : 0;
    if (marks == FREE_READINGS_NEEDED) {
      return 0;
    }
    if (i == 0) {
      first = field;
    }
    changed = changed || field != first;
  }
  if (changed) {
    kx_print("pcie_tool vpd channel is busy, please retry!\n");
    return PCIE_TUNNEL_BUSY;
  }
  return 0;
}

int32_t find_vpd(kxtools_sbdf sbdf, uint32_t* capability) {
  const int32_t offset = pcie_find_capability(sbdf, PCI_CAP_ID_VPD);
  *capability = static_cast<uint32_t>(offset);
  return offset < 0 ? -1 : 0;
}

enum class outcome : uint8_t {
  done,
  failed,
  disturbed,  ///< the dwords are somebody else's
  replaced,   ///< the data may have been replaced before the card took it
};

outcome wait_for_flag(kxtools_sbdf sbdf, uint32_t capability, uint32_t written) {
  for (int i = 0; i < POLL_MAX; ++i) {
    usleep(POLL_STEP_US);
    uint32_t command = 0;
    if (pcie_cfg_read_dword(sbdf, capability, &command) != 0) {
      return outcome::failed;
    }
    // No capability header is all ones: the function has left the bus, and its data would be all ones too.
    if (pcie_is_silence(command)) {
      kx_print("[PCIe] the card does not answer, its configuration space reads all ones!\n");
      return outcome::failed;
    }
    if (((command ^ written) & COMMAND_BITS) != 0) {
      return outcome::disturbed;
    }
    if (((command ^ written) >> 31) != 0) {
      return outcome::done;
    }
  }
  kx_print("wait time: %llu ms, VPD timeout!!!\n", TIMEOUT_MS);
  return outcome::failed;
}

// One try of a transfer. What was read counts only when the command still stands after it.
outcome exchange(kxtools_sbdf sbdf, uint32_t capability, uint32_t command, uint32_t* data) {
  const uint32_t written = *data;
  if (pcie_cfg_write_dword(sbdf, capability + PCI_VPD_DATA, written) != 0 ||
      pcie_cfg_write_dword(sbdf, capability, command) != 0) {
    return outcome::failed;
  }
  if (const outcome waited = wait_for_flag(sbdf, capability, command); waited != outcome::done) {
    return waited;
  }
  uint32_t after = 0;
  if (pcie_cfg_read_dword(sbdf, capability + PCI_VPD_DATA, data) != 0) {
    return outcome::failed;
  }
  const bool writes = (command & FLAG) != 0;
  if (writes && (*data == written || !data_is_kept)) {
    return outcome::done;
  }
  if (pcie_cfg_read_dword(sbdf, capability, &after) != 0) {
    return outcome::failed;
  }
  if (((after ^ command ^ FLAG) & (FLAG | COMMAND_BITS)) != 0) {
    return outcome::disturbed;
  }
  return writes ? outcome::replaced : outcome::done;
}

int32_t read_status(kxtools_sbdf sbdf, uint32_t* status) {
  *status = 0;
  return vpd_tracsport_once(sbdf, READ_STATUS, status);
}

// What precedes the transfers of an access in secure mode.
int32_t open_secure_channel(kxtools_sbdf sbdf) {
  uint32_t capability = 0;
  if (find_vpd(sbdf, &capability) != 0) {
    return -1;
  }
  const int32_t result = check_channel_is_free(sbdf, capability);
  return result != 0 ? result : pcie_tunnel_status_exchange(sbdf);
}

// Moves one word between `*value` and card memory with `command`; the caller holds the lock file. Secure mode ends an
// access by asking whether it succeeded: `refused` is set when the card says that it did not.
int32_t transfer_word(uint64_t address, uint32_t mode, uint32_t command, uint32_t* value, bool* refused) {
  int32_t result = is_secure() ? open_secure_channel(bound_sbdf) : 0;
  if (result != 0) {
    return result;
  }
  if (mode == MODE_CHECKED && pcie_address_is_forbidden(address)) {
    kx_print("Addr[0x%llX] is invalid!!!\n", static_cast<unsigned long long>(address));
    return -1;
  }
  uint32_t low = static_cast<uint32_t>(address);
  result = vpd_tracsport_once(bound_sbdf, set_address_command(address, mode), &low);
  if (result == 0) {
    result = vpd_tracsport_once(bound_sbdf, command, value);
  }
  uint32_t status = STATUS_GOOD;
  if (result == 0 && is_secure()) {
    result = read_status(bound_sbdf, &status);
  }
  *refused = result == 0 && status != STATUS_GOOD;
  return *refused ? -1 : result;
}

int32_t read_locked(uint64_t address, uint32_t* value) {
  uint32_t word = 0;
  bool refused = false;
  const int32_t result = transfer_word(address, access_mode, READ_WORD, &word, &refused);
  if (refused) {
    kx_print("Read addr[0x%llX] val from kx failed\n", static_cast<unsigned long long>(address));
  }
  if (result == 0) {
    *value = word;
  }
  return result;
}

int32_t write_locked(uint64_t address, uint32_t value) {
  const uint32_t mode = access_mode == MODE_PLAIN_WRITE ? MODE_PLAIN_WRITE : MODE_CHECKED;
  uint32_t word = value;
  bool refused = false;
  const int32_t result = transfer_word(address, mode, WRITE_WORD, &word, &refused);
  if (refused) {
    kx_print("write val[0x%X] to kx addr[0x%llX] failed\n", value, static_cast<unsigned long long>(address));
  }
  return result;
}

bool take_bound(pcie_lock* lock) {
  if (bound_sbdf == KXTOOLS_SBDF_NONE) {
    kx_print("It does not bind to any pcie device,Please bind kx device!\n");
    return false;
  }
  if (!sleeps_are_short) {
    prctl(PR_SET_TIMERSLACK, TIMER_SLACK_NS);
    sleeps_are_short = true;
  }
  return lock->take();
}

}  // namespace

kxtools_sbdf pcie_bound_sbdf_get() {
  return bound_sbdf;
}

void pcie_bound_sbdf_set(kxtools_sbdf sbdf) {
  bound_sbdf = sbdf;
}

int32_t vpd_tracsport_once(kxtools_sbdf sbdf, uint32_t command, uint32_t* data) {
  uint32_t capability = 0;
  if (find_vpd(sbdf, &capability) != 0) {
    return -1;
  }
  bool disturbed = false;
  uint32_t word = *data;
  for (int i = 0; i < TRIES; ++i) {
    if (i > 0) {
      usleep(TRY_STEP_US);
    }
    if (is_secure()) {
      const int32_t result = check_channel_is_free(sbdf, capability);
      if (result != 0) {
        return result;
      }
    }
    word = *data;
    switch (exchange(sbdf, capability, command, &word)) {
      case outcome::done:
        *data = word;
        return 0;
      case outcome::failed:
        return -1;
      case outcome::disturbed:
        disturbed = true;
        break;
      case outcome::replaced:
        break;
    }
  }
  if (disturbed) {
    kx_error_print("the VPD capability is in use by another program, which may read the kernel's file vpd; retry\n");
    return PCIE_TUNNEL_BUSY;
  }
  // Nobody else was ever seen: it is the card that does not keep what it was given.
  data_is_kept = false;
  *data = word;
  return 0;
}

int32_t pcie_tunnel_status_exchange(kxtools_sbdf sbdf) {
  uint32_t status = 0;
  const int32_t result = read_status(sbdf, &status);
  if (result != 0 || status == STATUS_GOOD) {
    return result;
  }
  uint32_t zero = 0;
  return vpd_tracsport_once(sbdf, RESET, &zero);
}

int32_t read_val_from_kx(uint64_t address, uint32_t* value) {
  pcie_lock lock;
  return take_bound(&lock) ? read_locked(address, value) : -1;
}

int32_t write_val_to_kx(uint64_t address, uint32_t value) {
  pcie_lock lock;
  return take_bound(&lock) ? write_locked(address, value) : -1;
}

int32_t write_mask_to_kx(uint64_t address, uint32_t value, uint32_t mask) {
  card_lock card;  // as for every change of a part of a word
  pcie_lock lock;
  if (!card.take() || !take_bound(&lock)) {
    return -1;
  }
  uint32_t old = 0;
  const int32_t result = read_locked(address, &old);
  return result != 0 ? result : write_locked(address, (old & ~mask) | (value & mask));
}

int32_t set_wr_mode(uint32_t mode) {
  if (mode > MODE_MAX) {
    kx_print("access mode %u is not in 0 to %u!\n", mode, MODE_MAX);
    return -1;
  }
  access_mode = mode;
  return 0;
}

uint32_t get_wr_mode() {
  return access_mode;
}

void set_secure_mode(uint32_t mode) {
  secure_mode = mode;
}

uint32_t get_secure_mode() {
  return secure_mode;
}
