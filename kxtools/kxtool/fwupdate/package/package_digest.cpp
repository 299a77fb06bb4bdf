#include "fwupdate/package_digest.h"

#include <sha2.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <span>

#include "common/text.h"
#include "package_read.h"

int32_t fw_file_sha256(int fd, uint64_t size, fw_sha256* digest) {
  SHA2_CTX context;
  SHA256Init(&context);
  std::array<uint8_t, FW_PIECE_SIZE> piece;
  for (uint64_t at = 0; at < size; at += piece.size()) {
    const auto out = std::span(piece).first(std::min<uint64_t>(piece.size(), size - at));
    const ssize_t count = fw_read_at(fd, at, out);
    if (count != static_cast<ssize_t>(out.size())) {
      return count < 0 ? errno : ENODATA;
    }
    SHA256Update(&context, out.data(), out.size());
  }
  SHA256Final(digest->data(), &context);
  return 0;
}

std::string fw_sha256_text(const fw_sha256& digest) {
  std::string text;
  for (const uint8_t byte : digest) {
    text += kx_text("%02x", byte);
  }
  return text;
}

bool fw_sha256_read(const char* text, fw_sha256* digest) {
  if (strlen(text) != 2 * digest->size()) {
    return false;
  }
  for (uint8_t& byte : *digest) {
    if (const auto [rest, error] = std::from_chars(text, text + 2, byte, 16);
        error != std::errc() || rest != text + 2) {
      return false;
    }
    text += 2;
  }
  return true;
}

int32_t fw_header_sum(const fw_package& package, const fw_header& header, uint32_t* sum) {
  *sum = fw_checksum(std::span(header.bytes).subspan(FW_HEADER_IDENTIFICATION));
  for (const fw_image& image : header.table()) {
    uint32_t image_sum = 0;
    if (fw_image_checksum(package, header, image, &image_sum) != 0) {
      return -1;
    }
    *sum += image_sum;
  }
  return 0;
}

fw_seal fw_seal_check(const fw_package& package) {
  if (package.size < FW_SEAL_SIZE) {
    return fw_seal::none;
  }
  const uint64_t place = package.size - FW_SEAL_SIZE;
  std::array<uint8_t, FW_SEAL_SIZE> seal;
  if (fw_read_at(package.fd.get(), place, seal) != static_cast<ssize_t>(seal.size())) {
    return fw_seal::broken;
  }
  if (!std::equal(FW_SEAL_MARK.begin(), FW_SEAL_MARK.end(), seal.begin())) {
    return fw_seal::none;
  }
  fw_sha256 digest;
  return fw_file_sha256(package.fd.get(), place, &digest) == 0 &&
                 std::equal(digest.begin(), digest.end(), seal.begin() + FW_SEAL_MARK.size())
             ? fw_seal::whole
             : fw_seal::broken;
}
