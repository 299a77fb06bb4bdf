// Firmware version package: a file that mirrors a part of the card's flash. A header (checksum, identification, image
// table) lies at a base offset; images follow. Everything here treats the file as hostile: nothing outside it is read,
// all positions are 64-bit, and at most one piece of an image is in memory at a time.
//
//   kind 1  one partition: header at 256, image data at 256 + (flash offset - home)
//   kind 2  the whole flash: part A's header at 0x40000, part B's at 0x3300000, image data at its flash offset
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "common/unique_fd.h"

inline constexpr uint64_t FW_PACKAGE_SIZE_MAX = 0x8000000;  ///< 128 MiB, the size of the flash
inline constexpr uint32_t FW_HEADER_SIZE = 2000;            ///< bytes of the header as the card gets it
inline constexpr uint32_t FW_IDENTIFICATION_SIZE = 64;
inline constexpr uint32_t FW_IMAGE_NUM_MAX = 33;
inline constexpr uint32_t FW_ERASE_BLOCK = 4096;
inline constexpr uint32_t FW_DEVICE_ID_END = 255;  ///< flash device ids lie below
inline constexpr uint32_t FW_BOARD_TYPE_MAX = 15;  ///< characters

// Offsets of the header's fields; integers are little-endian.
inline constexpr uint32_t FW_HEADER_CHECKSUM = 0;
inline constexpr uint32_t FW_HEADER_IDENTIFICATION = 4;
inline constexpr uint32_t FW_HEADER_COUNT = 68;
inline constexpr uint32_t FW_HEADER_TABLE = 72;
inline constexpr uint32_t FW_TABLE_ROW_SIZE = 12;

// Where headers lie in the file; the last two are their places in the flash too.
inline constexpr uint64_t FW_BASE_KIND_1 = 256;
inline constexpr uint64_t FW_BASE_PART_A = 0x40000;
inline constexpr uint64_t FW_BASE_PART_B = 0x3300000;

/// Package index: which header of a package is meant. A package of kind 1 has part A only.
enum fw_package_part : uint8_t { FW_PART_A = 1, FW_PART_B = 2 };

enum fw_package_kind : uint8_t { FW_KIND_NONE = 0, FW_KIND_ONE_PARTITION = 1, FW_KIND_WHOLE_FLASH = 2 };

struct fw_image {
  uint32_t flash_offset;
  uint32_t size;  ///< bytes; an image of size 0 is not written
  uint8_t type;   ///< low byte of the table's type; it is the flash device id

  bool is_written() const {
    return size != 0;
  }
  bool is_aligned() const {
    return flash_offset % FW_ERASE_BLOCK == 0;
  }
  bool has_device() const {
    return type < FW_DEVICE_ID_END;
  }
};

struct fw_header {
  uint32_t checksum = 0;
  uint32_t fw_cnt = 0;     ///< as it stands in the file; the table is loaded only when it is 1 to FW_IMAGE_NUM_MAX
  uint32_t length = 0;     ///< bytes of `bytes` that the file holds
  uint64_t data_base = 0;  ///< file position of flash offset `home`
  uint32_t home = 0;       ///< lowest flash offset that the file mirrors; no image lies below it
  std::array<fw_image, FW_IMAGE_NUM_MAX> images = {};
  std::array<uint8_t, FW_HEADER_SIZE> bytes = {};

  bool count_is_valid() const {
    return fw_cnt >= 1 && fw_cnt <= FW_IMAGE_NUM_MAX;
  }
  std::span<const fw_image> table() const {
    return std::span(images).first(count_is_valid() ? fw_cnt : 0);
  }
  /// The identification text: up to its first zero byte, at most FW_IDENTIFICATION_SIZE characters.
  std::string_view identification() const;
};

/// An open package file.
struct fw_package {
  kx_unique_fd fd;
  uint64_t size = 0;
  fw_package_kind kind = FW_KIND_NONE;
};

enum class fw_open_result { opened, no_file, no_regular_file, too_large };

/// Opens a package and finds its kind from its identification blocks and its size. `no_file` leaves errno.
fw_open_result fw_package_open(const char* path, fw_package* package);

/// File offset of the header of `part`; for a package without a kind that of kind 2.
uint64_t fw_package_base(const fw_package& package, fw_package_part part);

/// 0 when the file's bytes before the header of part A (the boot-loader stage) are there and readable, else an errno.
int32_t fw_package_boot_stage_check(const fw_package& package);

/// Reads the header of `part`: FW_HEADER_SIZE bytes, fewer at the end of the file where the image table still fits.
/// A wrong fw_cnt is no failure. Returns 0 or -1.
int32_t fw_package_header_read(const fw_package& package, fw_package_part part, fw_header* header);

/// Sets where the file mirrors the flash, from the kind and the image table.
void fw_header_place(fw_package_kind kind, fw_header* header);

/// True for the layout whose first image, of type 1, lies below 0x10000: cards no longer take it.
bool fw_header_is_old_layout(const fw_header& header);

enum class fw_fault_reason {
  beyond_file,  ///< the file ends before the image does
  overlap,      ///< shares bytes with the image `other`
};

struct fw_fault {
  fw_fault_reason reason;
  uint32_t image;
  uint32_t other;
};

/// Images of a table whose data the file does not hold, or that share data; images of size 0 are left out.
std::vector<fw_fault> fw_table_check(const fw_package& package, const fw_header& header);

/// File position of an image's first byte.
uint64_t fw_image_position(const fw_header& header, const fw_image& image);

/// Bytes that are sent for an image: its size rounded up to a multiple of 4.
inline uint64_t fw_image_sent_size(const fw_image& image) {
  return (uint64_t{image.size} + 3) / 4 * 4;
}

/// Reads `out.size()` bytes from byte `at` of an image on. What lies behind the image (the rounding of its size) comes
/// from the file as it stands and is zero behind the file's end. Returns 0, or -1 when the image's own bytes are not
/// there.
int32_t fw_image_read(const fw_package& package, const fw_header& header, const fw_image& image, uint64_t at,
                      std::span<uint8_t> out);

/// fw_checksum over an image as it is stored in the file. Returns 0 or -1.
int32_t fw_image_checksum(const fw_package& package, const fw_header& header, const fw_image& image, uint32_t* sum);

/// The 32-bit sum of all bytes.
uint32_t fw_checksum(std::span<const uint8_t> bytes);

/// A board type: terminated text of at most FW_BOARD_TYPE_MAX characters.
inline constexpr std::string_view FW_IDENTIFICATION_MARK = "TARN-FW-";
using fw_board_type = std::array<char, FW_BOARD_TYPE_MAX + 1>;

enum class fw_board_result { ok, invalid_format, too_long };

/// From an identification text "...TARN-FW-BOARDTYPE-...": what stands between "TARN-FW-" and the next '-'.
fw_board_result fw_board_type_of_identification(std::string_view text, fw_board_type* type);
/// From a part number "XXX BOARDTYPE": what stands behind the first blank.
fw_board_result fw_board_type_of_part_number(std::string_view text, fw_board_type* type);
/// True when the card's board type begins with the package's.
bool fw_board_type_match(const fw_board_type& package, const fw_board_type& card);

/// A copy of outside text that is safe to print: every byte that is no printable ASCII character becomes '?'.
/// REQUIRES: text.size() <= FW_IDENTIFICATION_SIZE; longer text is cut.
std::array<char, FW_IDENTIFICATION_SIZE + 1> fw_text_printable(std::string_view text);
