#include "host/system_log.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace vcard {

namespace {

constexpr char log_socket[] = "/dev/log";
constexpr size_t longest_message = 8192;
constexpr size_t time_length = sizeof "Nov 26 04:18:00 " - 1;

}  // namespace

void SystemLog::connect(TrappedCall& call) {
  struct sockaddr_un address = {};
  const size_t size = std::min<uint64_t>(call.argument(2), sizeof address);
  const size_t needed = offsetof(struct sockaddr_un, sun_path) + sizeof log_socket;
  if (size < needed || !call.read(call.argument(1), &address, size) || address.sun_family != AF_UNIX ||
      memcmp(address.sun_path, log_socket, sizeof log_socket) != 0) {
    call.pass_on();
    return;
  }
  if (UniqueFd writer = call.finish_connected(static_cast<int>(call.argument(0))); writer) {
    writers_.push_back(std::move(writer));
  }
}

void SystemLog::poll_add(std::vector<struct pollfd>& set) const {
  for (const UniqueFd& writer : writers_) {
    set.push_back({writer.get(), POLLIN, 0});
  }
}

void SystemLog::take() {
  const auto is_over = [this](const UniqueFd& writer) {
    char message[longest_message];
    ssize_t length;
    while ((length = recv(writer.get(), message, sizeof message, MSG_DONTWAIT)) > 0) {
      line_take({message, static_cast<size_t>(length)});
    }
    return length == 0 || errno != EAGAIN;
  };
  writers_.erase(std::remove_if(writers_.begin(), writers_.end(), is_over), writers_.end());
}

/// "<13>Nov 26 04:18:00 kxtool[123]: text", with a zero byte or a newline behind it or not. Time and process id would
/// make lines differ from run to run.
void SystemLog::line_take(std::string_view message) {
  const size_t bracket = message.find('>');
  if (!message.starts_with('<') || bracket == std::string_view::npos) {
    log_.line("syslog unreadable=%zu", message.size());
    return;
  }
  const std::string priority(message.substr(1, bracket - 1));
  message.remove_prefix(std::min(bracket + 1 + time_length, message.size()));
  while (message.ends_with('\0') || message.ends_with('\n')) {
    message.remove_suffix(1);
  }
  const size_t tag = message.find(": ");
  const size_t id = std::min(message.find('['), tag);
  std::string text(message.substr(0, id));
  text += tag == std::string_view::npos ? message.substr(text.size()) : message.substr(tag);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
  log_.line("syslog priority=%s text=%s", priority.c_str(), text.c_str());
}

}  // namespace vcard
