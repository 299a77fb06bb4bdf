// How a package file is told from every other one, and a damaged one from a whole one.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "fwupdate/package.h"

using fw_sha256 = std::array<uint8_t, 32>;

/// SHA-256 of the first `size` bytes of a file. Returns 0, or an errno (ENODATA when the file is shorter).
int32_t fw_file_sha256(int fd, uint64_t size, fw_sha256* digest);

/// 64 lower-case digits.
std::string fw_sha256_text(const fw_sha256& digest);
/// Reads 64 hexadecimal digits. False for anything else.
bool fw_sha256_read(const char* text, fw_sha256* digest);

/// What kxpkg puts into a header's checksum: the sum of the header's bytes behind that field and of all image bytes.
/// Others may sum otherwise. Returns 0, or -1 when an image cannot be read.
int32_t fw_header_sum(const fw_package& package, const fw_header& header, uint32_t* sum);

/// The last bytes of a package that kxpkg made: a mark, then the SHA-256 of all that stands before the mark. No image
/// reaches into them, so that no card gets them.
inline constexpr std::array<uint8_t, 16> FW_SEAL_MARK = {'k', 'x', 'p', 'k', 'g', ' ', 's', 'e',
                                                         'a', 'l', ' ', 's', 'h', 'a', '2', '\n'};
inline constexpr uint64_t FW_SEAL_SIZE = FW_SEAL_MARK.size() + sizeof(fw_sha256);

enum class fw_seal { none, whole, broken };
/// Compares the file with its seal; a file that cannot be read has a broken one.
fw_seal fw_seal_check(const fw_package& package);
