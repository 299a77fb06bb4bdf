// Speaks every wire of the virtual card by hand, with constants of its own. The words are steps, separated by ","; each
// step but sleep prints one line.
//
//   ioctl INTERFACE TYPE EVENT PAYLOAD REPLY_LENGTH     one driver message, payload in hexadecimal or "-"
//   thread_ioctl ..., child_ioctl ...                   the same from a second thread, from a forked child
//   socket, bind PORT|self, family NAME, notice         a generic netlink socket, its port, a family, the next notice
//   bar ADDRESS, peek OFFSET                            BAR 0 of a function, mapped
//   mailbox ID EVENT PAYLOAD, slot_notice               one request through the mailbox; the next notice there
//   mailbox_silence ID EVENT PAYLOAD                    one request that is taken back without an answer
//   config ADDRESS OFFSET                               a word of configuration space
//   sleep MILLISECONDS

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<std::string>;

int netlink_socket = -1;
volatile uint8_t* bar = nullptr;
size_t bar_size = 0;

Bytes bytes_of(const std::string& text) {
  Bytes bytes;
  for (size_t i = 0; text != "-" && i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

uint32_t number(const std::string& word) {
  return static_cast<uint32_t>(std::stoul(word, nullptr, 0));
}

std::string text_of(const uint8_t* data, size_t size) {
  std::string text = size == 0 ? "-" : "";
  for (size_t i = 0; i < size; ++i) {
    char pair[3];
    snprintf(pair, sizeof pair, "%02x", data[i]);
    text += pair;
  }
  return text;
}

template <typename T>
void put(uint8_t* at, T value) {
  memcpy(at, &value, sizeof value);
}

template <typename T>
T get(const uint8_t* at) {
  T value;
  memcpy(&value, at, sizeof value);
  return value;
}

void step_ioctl(const Words& words) {
  Bytes payload = bytes_of(words[4]);
  uint16_t reply_length = static_cast<uint16_t>(std::stoul(words[5]));
  uint8_t status[64] = {};
  Bytes reply(reply_length + 1u, 0xee);
  Bytes message(40 + payload.size());
  put<uint32_t>(&message[0], static_cast<uint32_t>(std::stoul(words[2])));
  put<uint32_t>(&message[4], static_cast<uint32_t>(getpid()));
  put<uint64_t>(&message[8], reinterpret_cast<uint64_t>(status));
  put<uint32_t>(&message[16], static_cast<uint32_t>(std::stoul(words[3])));
  put<uint16_t>(&message[20], 3);
  put<uint64_t>(&message[24], reinterpret_cast<uint64_t>(reply.data()));
  put<uint16_t>(&message[32], reply_length);
  put<uint16_t>(&message[36], static_cast<uint16_t>(payload.size()));
  std::copy(payload.begin(), payload.end(), message.begin() + 40);
  uint8_t request[40] = {};
  memcpy(request, words[1].data(), std::min<size_t>(words[1].size(), 15));
  put<uint64_t>(request + 16, reinterpret_cast<uint64_t>(message.data()));
  int fd = socket(AF_INET, SOCK_DGRAM, 0);
  errno = 0;
  int result = ioctl(fd, 0x89fd, request);
  int error = errno;
  close(fd);
  printf("ret=%d errno=%d status=%u result=%d length=%u reply=%s\n", result, error, get<uint32_t>(status),
         get<int32_t>(status + 4), get<uint16_t>(&message[32]), text_of(reply.data(), reply_length).c_str());
}

void step_child_ioctl(const Words& words) {
  fflush(stdout);
  pid_t child = fork();
  if (child == 0) {
    step_ioctl(words);
    fflush(stdout);
    _exit(0);
  }
  waitpid(child, nullptr, 0);
}

void step_bind(const Words& words) {
  uint32_t port = words[1] == "self" ? static_cast<uint32_t>(getpid()) : static_cast<uint32_t>(std::stoul(words[1]));
  uint8_t address[12] = {16};
  put<uint32_t>(address + 4, port);
  int result = bind(netlink_socket, reinterpret_cast<const struct sockaddr*>(address), sizeof address);
  printf("bind=%d errno=%d\n", result, result < 0 ? errno : 0);
}

bool arrives(int fd, int limit_ms) {
  struct pollfd entry = {fd, POLLIN, 0};
  return poll(&entry, 1, limit_ms) > 0;
}

void step_family(const Words& words) {
  size_t name_size = words[1].size() + 1;
  Bytes message(20 + 4 + (name_size + 4) / 4 * 4);
  put<uint32_t>(&message[0], static_cast<uint32_t>(message.size()));
  put<uint16_t>(&message[4], 16);
  put<uint16_t>(&message[6], 1);
  message[16] = 3;
  message[17] = 1;
  put<uint16_t>(&message[20], static_cast<uint16_t>(name_size + 5));
  put<uint16_t>(&message[22], 2);
  memcpy(&message[24], words[1].c_str(), name_size);
  uint8_t address[12] = {16};
  ssize_t sent = sendto(netlink_socket, message.data(), message.size(), 0,
                        reinterpret_cast<const struct sockaddr*>(address), sizeof address);
  uint8_t answer[14020] = {};
  ssize_t length = arrives(netlink_socket, 300) ? recv(netlink_socket, answer, sizeof answer, 0) : -1;
  size_t second = 20 + (get<uint16_t>(answer + 20) + 3u) / 4 * 4;
  printf("sent=%d length=%zd header_length=%u type=%u error=%d attribute=%u id=%u\n", sent == std::ssize(message),
         length, get<uint32_t>(answer), get<uint16_t>(answer + 4),
         get<uint16_t>(answer + 4) == 2 ? get<int32_t>(answer + 16) : 0, get<uint16_t>(answer + second + 2),
         get<uint16_t>(answer + second + 4));
}

void step_notice(const Words&) {
  uint8_t notice[14020] = {};
  ssize_t length = arrives(netlink_socket, 3000) ? recv(netlink_socket, notice, sizeof notice, 0) : -1;
  if (length < 24 || get<uint16_t>(notice + 4) == 2) {
    printf("notice length=%zd type=%u\n", length, get<uint16_t>(notice + 4));
    return;
  }
  printf("notice type=%u payload=%s\n", get<uint16_t>(notice + 4),
         text_of(notice + 24, get<uint16_t>(notice + 20) - 4u).c_str());
}

uint32_t bar_read(size_t offset) {
  return *reinterpret_cast<volatile uint32_t*>(bar + offset);
}

void bar_write(size_t offset, uint32_t value) {
  *reinterpret_cast<volatile uint32_t*>(bar + offset) = value;
}

void step_bar(const Words& words) {
  std::string path = "/sys/bus/pci/devices/" + words[1] + "/resource0";
  int fd = open(path.c_str(), O_RDWR);
  struct stat status = {};
  fstat(fd, &status);
  bar_size = static_cast<size_t>(status.st_size);
  void* data = mmap(nullptr, bar_size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  const int error = errno;
  close(fd);
  if (data == MAP_FAILED) {
    printf("bar size=0x%zx errno=%d\n", bar_size, error);
    return;
  }
  bar = static_cast<volatile uint8_t*>(data);
  printf("bar size=0x%zx\n", bar_size);
}

size_t mailbox_area() {
  uint32_t layout = bar_read(0x1000) >> 8 & 0xff;
  return layout == 0 || layout == 1 || layout == 7 ? 0xf0f000 : 0xff000;
}

std::string slot_text(size_t slot) {
  uint8_t header[12];
  for (size_t i = 0; i < 3; ++i) {
    put<uint32_t>(header + 4 * i, bar_read(slot + 4 * i));
  }
  size_t length = std::min<size_t>(get<uint16_t>(header + 4), 2036);
  Bytes payload(length + 3);
  for (size_t i = 0; i < length; i += 4) {
    put<uint32_t>(&payload[i], bar_read(slot + 12 + i));
  }
  return "header=" + text_of(header, sizeof header) + " payload=" + text_of(payload.data(), length);
}

bool valid_becomes(size_t slot, uint32_t wanted, int limit_ms) {
  for (int i = 0; i < limit_ms * 10; ++i) {
    if ((bar_read(slot) & 1) == wanted) {
      return true;
    }
    usleep(100);
  }
  return false;
}

void mailbox_send(size_t slot, uint32_t message_id, uint32_t event_id, Bytes payload) {
  uint16_t length = static_cast<uint16_t>(payload.size());
  payload.resize((payload.size() + 3) / 4 * 4);
  bar_write(slot, event_id << 16);
  bar_write(slot + 4, message_id << 16 | length);
  bar_write(slot + 8, 0);
  for (size_t i = 0; i < payload.size(); i += 4) {
    bar_write(slot + 12 + i, get<uint32_t>(&payload[i]));
  }
  bar_write(slot, bar_read(slot) | 1);
}

void mailbox_request(const Words& words, int limit_ms) {
  size_t slot = mailbox_area();
  mailbox_send(slot, number(words.at(1)), number(words.at(2)), bytes_of(words.at(3)));
  if (valid_becomes(slot, 0, limit_ms)) {
    printf("mailbox %s\n", slot_text(slot).c_str());
  } else {
    bar_write(slot, bar_read(slot) & ~1u);
    printf("mailbox time out\n");
  }
}

void step_slot_notice(const Words&) {
  size_t slot = mailbox_area() + 0x800;
  if (!valid_becomes(slot, 1, 3000)) {
    printf("slot_notice time out\n");
    return;
  }
  printf("slot_notice %s\n", slot_text(slot).c_str());
  bar_write(slot, (bar_read(slot) | 8) & ~0x11u);
}

void step_config(const Words& words) {
  std::string path = "/sys/bus/pci/devices/" + words[1] + "/config";
  int fd = open(path.c_str(), O_RDWR);
  uint32_t value = 0;
  ssize_t length = pread(fd, &value, sizeof value, std::stol(words[2], nullptr, 0));
  close(fd);
  printf("config length=%zd value=0x%08x\n", length, value);
}

struct {
  const char* name;
  void (*run)(const Words& words);
} const steps[] = {
    {"ioctl", step_ioctl},
    {"thread_ioctl", [](const Words& words) { std::thread(step_ioctl, words).join(); }},
    {"child_ioctl", step_child_ioctl},
    {"socket",
     [](const Words&) {
       netlink_socket = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, 16);
       printf("socket=%d\n", netlink_socket >= 0);
     }},
    {"bind", step_bind},
    {"family", step_family},
    {"notice", step_notice},
    {"bar", step_bar},
    {"peek", [](const Words& words) { printf("peek 0x%08x\n", bar_read(number(words[1]))); }},
    {"mailbox", [](const Words& words) { mailbox_request(words, 10000); }},
    {"mailbox_silence", [](const Words& words) { mailbox_request(words, 150); }},
    {"slot_notice", step_slot_notice},
    {"config", step_config},
    {"sleep", [](const Words& words) { usleep(static_cast<useconds_t>(number(words[1]) * 1000)); }},
};

}  // namespace

int main(int argc, char** argv) {
  signal(SIGBUS, SIG_DFL);  // a sanitizer's handler would turn the signal into an exit status
  Words words;
  for (int i = 1; i <= argc; ++i) {
    if (i < argc && strcmp(argv[i], ",") != 0) {
      words.emplace_back(argv[i]);
      continue;
    }
    const auto* step =
        std::find_if(std::begin(steps), std::end(steps), [&](const auto& s) { return words[0] == s.name; });
    step != std::end(steps) ? step->run(words) : static_cast<void>(printf("what is %s?\n", words[0].c_str()));
    fflush(stdout);
    words.clear();
  }
}
