// Registers by number: whole fields in and out of one instance of a register, 32-bit access to registers of one word,
// and the switches of the register layer. `m` and `n` index arrays and are ignored where the register has no such
// dimension; an index past the end is reported and accessed all the same.
//
// Code that knows its register uses the generated types of dpp_reg_types.h, whose members are the fields: what a sheet
// no longer names does not compile. Calls by number move the values of the fields as one 32-bit word for each field in
// table order. Fields of more than 32 bits are skipped.
//
// All return 0, 0x1205 for a device above 15, a register above 4439 or room for fewer values than the register has
// fields, 0x1201 for a null pointer, or the code of the hook that failed. They take no lock, but for registers that lie
// behind an indirect window or take several words: those are moved whole, also where other processes use the card.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <span>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_reg/dpp_reg_info.h"
#include "qlix_comm/check.h"

/// The operation mutex of the window behind which a register lies; null for a register that is reached directly, and
/// for one that does not exist. A read and the write that follows it hold it with the card (dpp_card_guard.h).
dpp_mutex* dpp_reg_window_mutex(uint32_t dev_id, uint32_t reg_no);

/// Writes all fields of one instance; bits of a value beyond the field's length are dropped, bits of the register that
/// belong to no field are written 0.
uint32_t dpp_reg_write(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                       std::span<const uint32_t> field_values);
uint32_t dpp_reg_read(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                      std::span<uint32_t> field_values);

/// A register as a type.
template <typename Register>
concept dpp_reg_type = requires {
  Register::NUMBER;
}
&&sizeof(Register) % sizeof(uint32_t) == 0;
/// Its fields as the calls by number move them.
template <dpp_reg_type Register>
using dpp_reg_values = std::array<uint32_t, sizeof(Register) / sizeof(uint32_t)>;

// Most registers are one word that is reached directly. Their types know fields and addresses as constants, so that an
// access needs neither the table nor a loop, as long as nothing unusual is asked for.

/// A bit for the filter and one for capture, each set while it is on.
extern std::atomic<uint32_t> dpp_reg_watches;

template <typename Register>
concept dpp_reg_plain_type = dpp_reg_type<Register> && requires {
  Register::PLAIN;
};

/// Whether such an instance exists and is reached without filter, capture or agent mode; whatever else there is to say
/// is said by the calls by number.
template <dpp_reg_plain_type Register>
bool dpp_reg_is_reached_plainly(uint32_t dev_id, uint32_t m, uint32_t n) {
  return dev_id < DPP_DEV_MAX && m < Register::PLAIN.m_size && n < Register::PLAIN.n_size &&
         dpp_reg_watches.load(std::memory_order_relaxed) == 0 && !dpp_dev_is_agent_mode(dev_id);
}
template <dpp_reg_plain_type Register>
uint32_t dpp_reg_plain_addr(uint32_t m, uint32_t n) {
  return Register::PLAIN.addr + m * Register::PLAIN.m_step + n * Register::PLAIN.n_step;
}

/// The word of all fields, each cut to its length.
template <dpp_reg_plain_type Register>
constexpr uint32_t dpp_reg_plain_pack(const Register& fields) {
  const auto values = std::bit_cast<dpp_reg_values<Register>>(fields);
  uint32_t word = 0;
  for (size_t field = 0; field < values.size(); ++field) {
    const dpp_reg_bits bits = Register::BITS[field];
    word |= values[field] << (32 - bits.len) >> (31 - bits.msb);
  }
  return word;
}
template <dpp_reg_plain_type Register>
constexpr Register dpp_reg_plain_unpack(uint32_t word) {
  dpp_reg_values<Register> values{};
  for (size_t field = 0; field < values.size(); ++field) {
    const dpp_reg_bits bits = Register::BITS[field];
    values[field] = word << (31 - bits.msb) >> (32 - bits.len);
  }
  return std::bit_cast<Register>(values);
}

/// All fields of one instance; `*fields` is written only on success.
template <dpp_reg_type Register>
uint32_t dpp_reg_read(uint32_t dev_id, uint32_t m_offset, uint32_t n_offset, Register* fields) {
  if constexpr (dpp_reg_plain_type<Register>) {
    if (dpp_reg_is_reached_plainly<Register>(dev_id, m_offset, n_offset)) [[likely]] {
      uint32_t word = 0;
      const uint32_t addr = dpp_reg_plain_addr<Register>(m_offset, n_offset);
      QLIX_COMM_CHECK_RC(dpp_dev_read_channel(dev_id, addr, 1, &word), "p_read_fun");
      *fields = dpp_reg_plain_unpack<Register>(word);
      return QLIX_COMM_OK;
    }
  }
  dpp_reg_values<Register> values;
  const uint32_t rc = dpp_reg_read(dev_id, Register::NUMBER, m_offset, n_offset, values);
  if (rc == 0) {
    *fields = std::bit_cast<Register>(values);
  }
  return rc;
}
/// Declares `name` as the fields of an instance; makes the surrounding function return when they cannot be read.
// NOLINTBEGIN(bugprone-macro-parentheses): neither a type nor what it declares takes any
#define DPP_REG_READ(Register, name, dev_id, m_offset, n_offset) \
  Register name = {};                                            \
  QLIX_COMM_CALL(dpp_reg_read, dev_id, m_offset, n_offset, &name)
// NOLINTEND(bugprone-macro-parentheses)

template <dpp_reg_type Register>
uint32_t dpp_reg_write(uint32_t dev_id, uint32_t m_offset, uint32_t n_offset, const Register& fields) {
  if constexpr (dpp_reg_plain_type<Register>) {
    if (dpp_reg_is_reached_plainly<Register>(dev_id, m_offset, n_offset)) [[likely]] {
      const uint32_t word = dpp_reg_plain_pack(fields);
      const uint32_t addr = dpp_reg_plain_addr<Register>(m_offset, n_offset);
      QLIX_COMM_CHECK_RC(dpp_dev_write_channel(dev_id, addr, 1, &word), "p_write_fun");
      return QLIX_COMM_OK;
    }
  }
  return dpp_reg_write(dev_id, Register::NUMBER, m_offset, n_offset, std::bit_cast<dpp_reg_values<Register>>(fields));
}
/// Reads an instance, lets `change` alter the fields and writes it back, with the card held in between.
template <dpp_reg_type Register, typename Change>
uint32_t dpp_reg_modify(uint32_t dev_id, uint32_t m_offset, uint32_t n_offset, Change change) {
  DPP_CARD_GUARD(guard, dev_id, dpp_reg_window_mutex(dev_id, Register::NUMBER));
  Register fields;
  uint32_t rc = guard.status();
  if (rc == 0) {
    rc = dpp_reg_read(dev_id, m_offset, n_offset, &fields);
  }
  if (rc == 0) {
    change(fields);
    rc = dpp_reg_write(dev_id, m_offset, n_offset, fields);
  }
  return rc;
}

/// Reads every instance and drops what it holds: counters that a read clears begin at 0 again.
uint32_t dpp_reg_read_away(uint32_t dev_id, uint32_t reg_no);

// Registers of exactly 4 bytes; another width is 0x1205.
/// Writes `value` to every instance.
uint32_t dpp_reg_write32(uint32_t dev_id, uint32_t reg_no, uint32_t value);
uint32_t dpp_reg_write32_bymn(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t value);
uint32_t dpp_reg_read32(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t* value);

/// The words of one instance as the bus carries them: word 0 at the lowest address, which holds the register's most
/// significant bits. `words` has room for width / 4 of them, else 0x1205.
uint32_t dpp_reg_words_read(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                            std::span<uint32_t> words);

/// The address of one instance in the register space, before the conversion of agent mode. 0x1205 when it does not fit
/// 32 bits.
uint32_t dpp_reg_get_reg_addr(uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t* addr);

// Field value vectors: what the register holds, what it holds after reset, all ones in every field, random bits for
// tests. `field_values` has room for one word a field (DPP_REG_FIELD_MAX always suffices).
uint32_t dpp_reg_val_get(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                         std::span<uint32_t> field_values);
uint32_t dpp_reg_default_val_get(uint32_t reg_no, std::span<uint32_t> field_values);
uint32_t dpp_reg_max_val_get(uint32_t reg_no, std::span<uint32_t> field_values);
uint32_t dpp_reg_rand_val_get(uint32_t reg_no, std::span<uint32_t> field_values);

// Process-wide switches, set while the driver is initialised or from the shell.
/// While `en` is 1, field-wise accesses to registers in [reg_start, reg_end] print their address and first word.
uint32_t dpp_reg_cap_cfg_set(uint32_t en, uint32_t reg_start, uint32_t reg_end);
/// Switches the filter of registers that have no hardware behind them in agent mode.
uint32_t dpp_reg_filter_en_set(uint32_t en);
uint32_t dpp_reg_filter_en_get();
/// Sets `flag` to 1 when the filter hides the register from this device, else to 0.
uint32_t dpp_reg_filter_flag_get(uint32_t dev_id, uint32_t reg_no, uint32_t* flag);

/// True for the modules whose registers agent mode leaves to the driver: 13 to 17.
bool dpp_4k_reg(uint32_t mod_no);
/// The address at which a register of module `mod_no` is reached: in agent mode its place in the 4 KiB window of the
/// module, otherwise `addr` itself.
uint32_t dpp_reg_addr_convert(uint32_t dev_id, uint32_t mod_no, uint32_t flag, uint32_t addr, uint32_t* converted);
