#include "host_memory.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "vcard/card.h"

namespace vcard {

namespace {

constexpr uint64_t huge_page_bytes = uint64_t{2} << 20;
constexpr uint64_t present_bit = uint64_t{1} << 63;
constexpr uint64_t frame_mask = (uint64_t{1} << 55) - 1;

struct Range {
  uint64_t begin;
  uint64_t end;
};

/// The ranges of a process that are made of huge pages.
std::vector<Range> huge_ranges(pid_t pid) {
  std::vector<Range> ranges;
  FILE* maps = fopen(("/proc/" + std::to_string(pid) + "/maps").c_str(), "re");
  if (maps == nullptr) {
    return ranges;
  }
  char line[512];
  while (fgets(line, sizeof line, maps) != nullptr) {
    Range range;
    if (std::string_view(line).find("hugepage") != std::string_view::npos &&
        sscanf(line, "%" SCNx64 "-%" SCNx64, &range.begin, &range.end) == 2) {
      ranges.push_back(range);
    }
  }
  fclose(maps);
  return ranges;
}

iovec remote_of(uint64_t address, size_t size) {
  return {reinterpret_cast<void*>(address), size};  // NOLINT(performance-no-int-to-ptr)
}

/// The bus address of a page of a process, 0 when it cannot be known.
uint64_t bus_of(pid_t pid, uint64_t address) {
  const int pagemap = open(("/proc/" + std::to_string(pid) + "/pagemap").c_str(), O_RDONLY | O_CLOEXEC);
  if (pagemap < 0) {
    return 0;
  }
  const auto frame_bytes = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  uint64_t entry = 0;
  const auto at = static_cast<off_t>(address / frame_bytes * sizeof entry);
  const bool known = pread(pagemap, &entry, sizeof entry, at) == sizeof entry && (entry & present_bit) != 0;
  close(pagemap);
  return known ? (entry & frame_mask) * frame_bytes : 0;
}

}  // namespace

std::optional<HostMemory::Place> HostMemory::find(uint64_t bus, size_t length) {
  const uint64_t page = bus & ~(huge_page_bytes - 1);
  if (bus + length > page + huge_page_bytes || bus + length < bus) {
    return std::nullopt;
  }
  if (last_.has_value() && bus_of(last_->pid, last_->address) == page) {
    return Place{last_->pid, last_->address + (bus - page)};
  }
  for (const pid_t pid : card_.processes()) {
    for (const Range& range : huge_ranges(pid)) {
      for (uint64_t address = range.begin; address < range.end; address += huge_page_bytes) {
        if (page != 0 && bus_of(pid, address) == page) {
          last_ = Place{pid, address};
          return Place{pid, address + (bus - page)};
        }
      }
    }
  }
  return std::nullopt;
}

bool HostMemory::read(uint64_t bus, std::span<uint8_t> into) {
  const std::optional<Place> place = find(bus, into.size());
  if (!place.has_value()) {
    return false;
  }
  const iovec local = {into.data(), into.size()};
  const iovec remote = remote_of(place->address, into.size());
  return process_vm_readv(place->pid, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(into.size());
}

bool HostMemory::write(uint64_t bus, std::span<const uint8_t> from) {
  const std::optional<Place> place = find(bus, from.size());
  if (!place.has_value()) {
    return false;
  }
  const iovec local = {const_cast<uint8_t*>(from.data()), from.size()};
  const iovec remote = remote_of(place->address, from.size());
  return process_vm_writev(place->pid, &local, 1, &remote, 1, 0) == static_cast<ssize_t>(from.size());
}

}  // namespace vcard
