// An exchange with the kernel driver of eth0: a compatibility query, the smallest that there is.
#pragma once

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>

class DriverExchange {
 public:
  DriverExchange() {
    const uint64_t status_at = reinterpret_cast<uint64_t>(status_.data());
    const uint64_t reply_at = reinterpret_cast<uint64_t>(reply_.data());
    const uint64_t message_at = reinterpret_cast<uint64_t>(message_.data());
    const uint16_t room = static_cast<uint16_t>(reply_.size());
    memcpy(&message_[0], &COMPAT_QUERY, sizeof COMPAT_QUERY);
    memcpy(&message_[8], &status_at, sizeof status_at);
    memcpy(&message_[24], &reply_at, sizeof reply_at);
    memcpy(&message_[32], &room, sizeof room);
    memcpy(&request_[0], "eth0", 4);
    memcpy(&request_[16], &message_at, sizeof message_at);
  }
  ~DriverExchange() {
    close(fd_);
  }
  DriverExchange(const DriverExchange&) = delete;
  DriverExchange& operator=(const DriverExchange&) = delete;

  bool run() {
    return ioctl(fd_, DRIVER_REQUEST, request_.data()) == 0;
  }

 private:
  static constexpr unsigned long DRIVER_REQUEST = 0x89fd;
  static constexpr uint32_t COMPAT_QUERY = 6;
  std::array<uint8_t, 8> status_ = {};
  std::array<uint8_t, 8> reply_ = {};
  std::array<uint8_t, 40> message_ = {};
  std::array<uint8_t, 40> request_ = {};
  int fd_ = socket(AF_INET, SOCK_DGRAM, 0);
};
