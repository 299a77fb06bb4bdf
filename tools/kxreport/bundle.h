// A case for support: one archive of everything that a card tells without being changed, and the card file with which
// the virtual card plays it back.
#pragma once

#include <string>

#include "common/result_file.h"
#include "value.h"

struct bundle_registers {
  int64_t kept = 0;
  int64_t left_out = 0;
};

/// Begins the archive `path`, before the card is asked, so that a place where none may be is told at once.
bool bundle_open(const char* path, kx_result_file* file, std::string* why);
/// Writes the archive of a whole document, whose one card was asked for all sections of a bundle. It takes its name
/// when it is whole. False with a reason.
bool bundle_write(const value& root, kx_result_file* file, bundle_registers* registers, std::string* why);

/// The card file for kxvcard: what differs from the healthy card that it is without one. What the card did not tell, it
/// does not tell in the replay either.
std::string card_file_make(const value& card);
