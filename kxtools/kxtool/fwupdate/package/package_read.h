// How the parts of a package's reader take bytes of the file.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>

/// What is read at once.
inline constexpr size_t FW_PIECE_SIZE = size_t{64} * 1024;

/// Reads until `out` is full or the file ends, across interrupts. Returns the number of bytes read, or -1 with errno.
ssize_t fw_read_at(int fd, uint64_t position, std::span<uint8_t> out);
