#include "platform/testing/loopback_http_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace zephyl::platform::testing {
namespace {

// Reads one request head and its Content-Length body; false on EOF or error.
bool readRequest(int socket, LoopbackRequest& request) {
  std::string data;
  char buffer[4096];
  size_t headEnd;
  while ((headEnd = data.find("\r\n\r\n")) == std::string::npos) {
    const ssize_t got = ::recv(socket, buffer, sizeof buffer, 0);
    if (got <= 0) return false;
    data.append(buffer, static_cast<size_t>(got));
  }
  const std::string head = data.substr(0, headEnd);
  size_t lineEnd = head.find("\r\n");
  const std::string requestLine = head.substr(0, lineEnd);
  const size_t firstSpace = requestLine.find(' ');
  const size_t secondSpace = requestLine.find(' ', firstSpace + 1);
  request.method = requestLine.substr(0, firstSpace);
  request.target = requestLine.substr(firstSpace + 1, secondSpace - firstSpace - 1);
  size_t contentLength = 0;
  while (lineEnd != std::string::npos && lineEnd < head.size()) {
    const size_t start = lineEnd + 2;
    lineEnd = head.find("\r\n", start);
    const std::string line = head.substr(start, lineEnd == std::string::npos ? std::string::npos : lineEnd - start);
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    std::string value = line.substr(colon + 1);
    while (!value.empty() && value.front() == ' ') value.erase(0, 1);
    request.headers.emplace_back(line.substr(0, colon), value);
    if (strcasecmp(line.substr(0, colon).c_str(), "Content-Length") == 0) contentLength = std::stoul(value);
  }
  request.body = data.substr(headEnd + 4);
  while (request.body.size() < contentLength) {
    const ssize_t got = ::recv(socket, buffer, sizeof buffer, 0);
    if (got <= 0) return false;
    request.body.append(buffer, static_cast<size_t>(got));
  }
  return true;
}

}  // namespace

bool LoopbackConnection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

bool LoopbackConnection::writeChunk(std::string_view bytes) {
  char size[32];
  std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
  return write(std::string(size) + std::string(bytes) + "\r\n");
}

void LoopbackConnection::stallUntilServerStops() {
  while (!stopping_()) {
    pollfd entry{socket_, POLLIN, 0};
    // Wakes when the client goes away, or every 20 ms to look at the stop flag.
    if (::poll(&entry, 1, 20) > 0) {
      char byte;
      if (::recv(socket_, &byte, 1, MSG_PEEK) <= 0) return;
    }
  }
}

LoopbackHTTPServer::LoopbackHTTPServer(Handler handler, int maximumRequests)
    : handler_(std::move(handler)), maximumRequests_(maximumRequests) {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener_ < 0) throw std::runtime_error("socket failed");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(listener_, 8) != 0) {
    ::close(listener_);
    throw std::runtime_error("bind or listen failed");
  }
  socklen_t length = sizeof address;
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

LoopbackHTTPServer::~LoopbackHTTPServer() {
  stopping_ = true;
  ::shutdown(listener_, SHUT_RDWR);
  thread_.join();
  ::close(listener_);
}

std::string LoopbackHTTPServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
}

void LoopbackHTTPServer::serve() {
  while (!stopping_) {
    pollfd entry{listener_, POLLIN, 0};
    if (::poll(&entry, 1, 20) <= 0) continue;
    const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) continue;
    const int one = 1;
    ::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    LoopbackRequest request;
    if (requestCount_ < maximumRequests_ && readRequest(client, request)) {
      const int index = requestCount_++;
      LoopbackConnection connection(client, [this] { return stopping_.load(); });
      handler_(request, connection, index);
    }
    ::close(client);
  }
}

}  // namespace zephyl::platform::testing
