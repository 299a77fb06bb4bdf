// Indirect windows: memories behind a block that are reached through three of its registers. A command register says
// what and where, a status register when the command has finished, data registers hold the words. An operation holds
// the operation mutex of the window and the card (dpp_card_guard.h) from the first word to the last.
#pragma once

#include <cstddef>

#include "dpp_chip/dpp_dev_mutex.h"
#include "dpp_reg/dpp_reg.h"

inline constexpr uint32_t DPP_RC_IND_TIMEOUT = 0x60A;  ///< the window did not finish its command

/// How a window is driven; made by dpp_window_of.
struct dpp_window {
  dpp_dev_mutex_type mutex;
  uint32_t cmd_reg;
  uint32_t status_reg;
  uint32_t done_field;  ///< of the status register
  uint32_t data_reg;    ///< an array of words, or one such array for each unit, or one word
  // Where the windows of the register layer differ from the others:
  const char* traced = nullptr;  ///< every access is traced under this name, and a time-out has a line
  bool reversed = false;         ///< word 0 stands at the highest address; words go out from the lowest one up
  bool write_waits = true;       ///< a write ends when its command has finished
  uint32_t timeout = DPP_RC_IND_TIMEOUT;
};

template <dpp_reg_type Command>
struct dpp_window_for : dpp_window {};

/// The window of three registers: `Command` has ind_rd_wr, 1 to read, `Status` has ind_done, 1 when finished.
template <dpp_reg_type Command, dpp_reg_type Status, dpp_reg_type Data>
requires requires(Command command, Status status, Data data) {
  command.ind_rd_wr;
  status.ind_done;
  data.ind_data;
}
constexpr dpp_window_for<Command> dpp_window_of(dpp_dev_mutex_type mutex) {
  return {{.mutex = mutex,
           .cmd_reg = Command::NUMBER,
           .status_reg = Status::NUMBER,
           .done_field = offsetof(Status, ind_done) / sizeof(uint32_t),
           .data_reg = Data::NUMBER}};
}

// By the values of the command's fields; use the typed calls below.
uint32_t dpp_window_run_read(uint32_t dev_id, const dpp_window& window, uint32_t unit,
                             std::span<const uint32_t> command, std::span<uint32_t> words);
uint32_t dpp_window_run_write(uint32_t dev_id, const dpp_window& window, uint32_t unit,
                              std::span<const uint32_t> command, std::span<const uint32_t> words);

// One command on the window of `unit` (0 where a block has one window only); `words` are moved from or to the data
// registers, and ind_rd_wr is set here. 0, the window's time-out after 1000 looks, or the code of the access that
// failed.
template <typename Command>
uint32_t dpp_window_read(uint32_t dev_id, const dpp_window_for<Command>& window, uint32_t unit, Command command,
                         std::span<uint32_t> words) {
  command.ind_rd_wr = 1;
  return dpp_window_run_read(dev_id, window, unit, std::bit_cast<dpp_reg_values<Command>>(command), words);
}
template <typename Command>
uint32_t dpp_window_write(uint32_t dev_id, const dpp_window_for<Command>& window, uint32_t unit, Command command,
                          std::span<const uint32_t> words) {
  command.ind_rd_wr = 0;
  return dpp_window_run_write(dev_id, window, unit, std::bit_cast<dpp_reg_values<Command>>(command), words);
}
