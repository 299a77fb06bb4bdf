#include "value_pipe.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "common/clock.h"

namespace {

// Operation, term, and for a number its eight bytes, for a text its length and bytes; both ends are one program.
enum operation : uint8_t { BEGIN, END, NUMBER, TEXT };

constexpr size_t BUFFER_SIZE = 16384;
constexpr size_t HEAD_SIZE = sizeof(uint8_t) + sizeof(term);
constexpr size_t TEXT_MAX = 1 << 16;  // configuration space in hexadecimal takes 8 KiB
constexpr uint64_t WAIT_MAX_MS = 200;

}  // namespace

void value_sender::put(uint8_t operation, term what, const void* data, size_t size) {
  buffer_ += static_cast<char>(operation);
  buffer_.append(reinterpret_cast<const char*>(&what), sizeof what);
  if (operation == TEXT) {
    const auto length = static_cast<uint32_t>(size);
    buffer_.append(reinterpret_cast<const char*>(&length), sizeof length);
  }
  buffer_.append(static_cast<const char*>(data), size);
  if (buffer_.size() >= BUFFER_SIZE || kx_now_ms() - flushed_ms_ > WAIT_MAX_MS) {
    flush();
  }
}

void value_sender::begin(term what) {
  put(BEGIN, what, "", 0);
}

void value_sender::end() {
  put(END, term::count, "", 0);
}

void value_sender::number(term what, uint64_t number) {
  put(NUMBER, what, &number, sizeof number);
}

void value_sender::text(term what, std::string_view text) {
  put(TEXT, what, text.data(), std::min(text.size(), TEXT_MAX));
}

// A receiver that is gone needs nothing any more.
void value_sender::flush() {
  size_t done = 0;
  while (done < buffer_.size()) {
    const ssize_t written = write(fd_, buffer_.data() + done, buffer_.size() - done);
    if (written < 0 && errno != EINTR) {
      break;
    }
    done += written < 0 ? 0 : static_cast<size_t>(written);
  }
  buffer_.clear();
  flushed_ms_ = kx_now_ms();
}

bool value_receiver::take_one(std::string_view* rest) {
  const std::string_view bytes = *rest;
  if (bytes.size() < HEAD_SIZE) {
    return false;
  }
  term what;
  memcpy(&what, bytes.data() + 1, sizeof what);
  size_t size = HEAD_SIZE;
  switch (bytes[0]) {
    case BEGIN:
      builder_.begin(what);
      break;
    case END:
      builder_.end();
      break;
    case NUMBER: {
      uint64_t number;
      size += sizeof number;
      if (bytes.size() < size) {
        return false;
      }
      memcpy(&number, bytes.data() + HEAD_SIZE, sizeof number);
      builder_.number(what, number);
      break;
    }
    default: {
      uint32_t length;
      if (bytes.size() < size + sizeof length) {
        return false;
      }
      memcpy(&length, bytes.data() + size, sizeof length);
      size += sizeof length + length;
      if (bytes.size() < size) {
        return false;
      }
      builder_.text(what, bytes.substr(size - length, length));
    }
  }
  rest->remove_prefix(size);
  return true;
}

void value_receiver::take(const char* bytes, size_t size) {
  pending_.append(bytes, size);
  std::string_view rest = pending_;
  while (take_one(&rest)) {
  }
  pending_.erase(0, pending_.size() - rest.size());
}
