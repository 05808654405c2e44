// A small HTTP/1.1 server on 127.0.0.1 for transport tests. Each accepted
// connection's request is read and handed, with a raw connection, to the
// test's handler, which writes whatever bytes the test needs: odd chunk sizes,
// a dropped connection, a stall until the server stops.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zephyl::platform::testing {

struct LoopbackRequest {
  std::string method;
  std::string target;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

class LoopbackConnection {
 public:
  explicit LoopbackConnection(int socket, std::function<bool()> stopping) : socket_(socket), stopping_(std::move(stopping)) {}
  // Writes all of `bytes` and flushes them to the peer (no coalescing).
  bool write(std::string_view bytes);
  // Writes one chunk of a chunked body ("" ends the body).
  bool writeChunk(std::string_view bytes);
  // Blocks until the server stops: a stalled response.
  void stallUntilServerStops();

 private:
  int socket_;
  std::function<bool()> stopping_;
};

class LoopbackHTTPServer {
 public:
  using Handler = std::function<void(const LoopbackRequest&, LoopbackConnection&, int requestIndex)>;

  // Listens on an ephemeral port; serves at most `maximumRequests` requests,
  // one connection at a time, then closes further connections at once.
  explicit LoopbackHTTPServer(Handler handler, int maximumRequests = 16);
  ~LoopbackHTTPServer();  // stops, releases stalled handlers, joins

  std::string url(std::string_view path = "/") const;
  int requestCount() const { return requestCount_.load(); }

 private:
  void serve();

  Handler handler_;
  int maximumRequests_;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_ = false;
  std::atomic<int> requestCount_ = 0;
  std::thread thread_;
};

}  // namespace zephyl::platform::testing
