#include "platform/linux/loopback_callback_receiver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ai/oauth_error.h"
#include "core/error.h"
#include "core/logger.h"

namespace zephyl::platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr core::Logger kLog("LoopbackCallbackReceiver");
constexpr size_t kMaximumHeadBytes = 16 * 1024;
constexpr int kPollSliceMilliseconds = 50;  // how soon a stop request is seen

int bindLoopback(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(fd, 4) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

int boundPort(int fd) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  return ntohs(address.sin_port);
}

// The request line's target, or empty when the head did not arrive in time.
std::string readTarget(int connection, Clock::time_point deadline) {
  std::string head;
  char buffer[2048];
  while (head.find("\r\n\r\n") == std::string::npos && head.size() < kMaximumHeadBytes) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd entry{connection, POLLIN, 0};
    if (left <= 0 || ::poll(&entry, 1, static_cast<int>(left)) <= 0) return {};
    const ssize_t got = ::recv(connection, buffer, sizeof buffer, 0);
    if (got <= 0) return {};
    head.append(buffer, static_cast<size_t>(got));
  }
  const size_t lineEnd = head.find("\r\n");
  const std::string line = head.substr(0, lineEnd);
  if (!line.starts_with("GET ")) return {};
  const size_t end = line.find(' ', 4);
  return line.substr(4, end == std::string::npos ? std::string::npos : end - 4);
}

void answer(int connection, std::string_view status, std::string_view page) {
  const std::string response = "HTTP/1.1 " + std::string(status) +
                               "\r\nContent-Type: text/html; charset=utf-8\r\nCache-Control: no-store\r\n"
                               "Connection: close\r\nContent-Length: " +
                               std::to_string(page.size()) + "\r\n\r\n" + std::string(page);
  std::string_view left = response;
  while (!left.empty()) {
    const ssize_t sent = ::send(connection, left.data(), left.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    left.remove_prefix(static_cast<size_t>(sent));
  }
}

}  // namespace

std::unique_ptr<LoopbackCallbackReceiver> LoopbackCallbackReceiver::listen(const std::vector<int>& ports) {
  std::string tried;
  for (int port : ports) {
    if (const int fd = bindLoopback(port); fd >= 0) {
      return std::unique_ptr<LoopbackCallbackReceiver>(new LoopbackCallbackReceiver(fd, boundPort(fd)));
    }
    kLog.info() << "Callback port " << port << " is not free: " << std::strerror(errno);
    tried += (tried.empty() ? "" : ", ") + std::to_string(port);
  }
  throw ai::OAuthError(
      ai::OAuthError::Code::kCallbackPortBusy,
      "(tried " + tried + "; close the program that holds it, or set other ports in the settings)");
}

LoopbackCallbackReceiver::~LoopbackCallbackReceiver() { ::close(listener_); }

std::optional<std::string> LoopbackCallbackReceiver::awaitCallback(std::string_view path,
                                                                   std::chrono::milliseconds timeout,
                                                                   std::stop_token stop) {
  const auto deadline = Clock::now() + timeout;
  while (Clock::now() < deadline) {
    if (stop.stop_requested()) throw core::CancellationError();
    pollfd entry{listener_, POLLIN, 0};
    if (::poll(&entry, 1, kPollSliceMilliseconds) <= 0) continue;
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    // A browser that opens a connection and sends nothing must not hold up the sign-in.
    const std::string target =
        readTarget(connection, std::min(deadline, Clock::now() + std::chrono::seconds(5)));
    const size_t question = target.find('?');
    const std::string_view targetPath = std::string_view(target).substr(0, question);
    if (!target.empty() && targetPath == path) {
      answer(connection, "200 OK",
             "<!doctype html><title>Zephyl</title><p>Zephyl received the sign-in answer. "
             "You can close this tab and return to the terminal.</p>");
      ::close(connection);
      return question == std::string::npos ? std::string() : target.substr(question + 1);
    }
    answer(connection, "404 Not Found", "<!doctype html><title>Zephyl</title><p>Not found.</p>");
    ::close(connection);
  }
  return std::nullopt;
}

}  // namespace zephyl::platform
