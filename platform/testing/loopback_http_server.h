// A small HTTP/1.1 server on 127.0.0.1 for transport tests. Each accepted
// connection's request is read and handed, with a raw connection, to the
// test's handler, which writes whatever bytes the test needs: odd chunk sizes,
// a dropped connection, a stall until the server stops. With a TLS identity it
// speaks HTTPS, so that code which insists on https can be tested for real.
#pragma once

#include <strings.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

typedef struct ssl_st SSL;
typedef struct ssl_ctx_st SSL_CTX;

namespace zephyl::platform::testing {

// A self-signed certificate for 127.0.0.1 and localhost with its key, in PEM.
// The certificate is also the only authority a client needs to trust.
struct LoopbackTLSIdentity {
  std::string certificatePEM;
  std::string privateKeyPEM;
};

// A fresh identity (EC P-256, valid for a day), made with OpenSSL in memory.
LoopbackTLSIdentity makeLoopbackTLSIdentity();

struct LoopbackRequest {
  std::string method;
  std::string target;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  // The value of the first header called `name`, in any case.
  std::optional<std::string> header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
      if (key.size() == name.size() && strncasecmp(key.data(), name.data(), name.size()) == 0) return value;
    }
    return std::nullopt;
  }
};

class LoopbackConnection {
 public:
  // `tls` is the connection's TLS session, or null for plain HTTP.
  LoopbackConnection(int socket, SSL* tls, std::function<bool()> stopping)
      : socket_(socket), tls_(tls), stopping_(std::move(stopping)) {}
  // Writes all of `bytes` and flushes them to the peer (no coalescing).
  bool write(std::string_view bytes);
  // Writes one chunk of a chunked body ("" ends the body).
  bool writeChunk(std::string_view bytes);
  // Writes a whole response: the status ("200 OK"), the Content-Type unless
  // empty, the Content-Length, "Connection: close" and `body`.
  bool writeResponse(std::string_view status, std::string_view contentType, std::string_view body);
  // Writes a response with a chunked body: `body` in chunks of `chunk` bytes, then the end.
  bool writeChunkedResponse(std::string_view status, std::string_view contentType, std::string_view body,
                            size_t chunk);
  // Blocks until the server stops: a stalled response.
  void stallUntilServerStops();

 private:
  int socket_;
  SSL* tls_;
  std::function<bool()> stopping_;
};

class LoopbackHTTPServer {
 public:
  using Handler = std::function<void(const LoopbackRequest&, LoopbackConnection&, int requestIndex)>;

  // Listens on an ephemeral port; serves at most `maximumRequests` requests,
  // one connection at a time, then closes further connections at once. With
  // `tls` every connection is HTTPS under that identity.
  explicit LoopbackHTTPServer(Handler handler, int maximumRequests = 16,
                              std::optional<LoopbackTLSIdentity> tls = std::nullopt);
  ~LoopbackHTTPServer();  // stops, releases stalled handlers, joins

  std::string url(std::string_view path = "/") const;
  int requestCount() const { return requestCount_.load(); }

 private:
  void serve();

  Handler handler_;
  int maximumRequests_;
  SSL_CTX* tlsContext_ = nullptr;
  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_ = false;
  std::atomic<int> requestCount_ = 0;
  std::thread thread_;
};

// One server-sent event of a Responses-style stream: "event: TYPE" and a data
// object whose "type" is TYPE followed by `fields` (members without braces).
inline std::string responsesStreamEvent(std::string_view type, std::string_view fields) {
  return "event: " + std::string(type) + "\ndata: {\"type\":\"" + std::string(type) + "\"" +
         (fields.empty() ? "" : "," + std::string(fields)) + "}\n\n";
}

}  // namespace zephyl::platform::testing
