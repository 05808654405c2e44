#include "platform/linux/curl_http_transport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <latch>
#include <thread>

#include "ai/http_transport.h"
#include "platform/testing/loopback_http_server.h"
#include "platform/testing/test_folder.h"

namespace zephyl::platform {
namespace {

using ai::HTTPTransportError;
using testing::LoopbackConnection;
using testing::LoopbackHTTPServer;
using testing::LoopbackRequest;
using namespace std::chrono_literals;

constexpr std::string_view kChunkedHead =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nTransfer-Encoding: chunked\r\n\r\n";

class CollectingHandler : public ai::HTTPResponseHandler {
 public:
  void onResponse(const ai::HTTPResponseHead& response) override { head = response; }
  void onBody(std::string_view bytes) override {
    body += bytes;
    if (firstBody) {
      firstBody->count_down();
      firstBody = nullptr;
    }
  }
  std::optional<ai::HTTPResponseHead> head;
  std::string body;
  std::latch* firstBody = nullptr;
};

ai::HTTPRequest postTo(const std::string& url, std::string body = "{}") {
  ai::HTTPRequest request;
  request.url = url;
  request.headers = {{"Content-Type", "application/json"}, {"Authorization", "Bearer test"}};
  request.body = std::move(body);
  request.connectTimeout = 5s;
  request.idleTimeout = 10s;
  return request;
}

TEST(CurlHTTPTransport, StreamsABodyWrittenInOddChunkSizes) {
  std::string body;
  for (int i = 0; i < 200; ++i)
    body += "event: delta\ndata: {\"n\":" + std::to_string(i) + ",\"text\":\"é🙂\"}\n\n";
  LoopbackRequest received;
  LoopbackHTTPServer server([&](const LoopbackRequest& request, LoopbackConnection& connection, int) {
    received = request;
    connection.write(kChunkedHead);
    size_t at = 0;
    for (size_t size = 1; at < body.size(); size = size % 97 + 13) {
      connection.writeChunk(std::string_view(body).substr(at, size));
      at += size;
    }
    connection.writeChunk("");
  });
  CurlHTTPTransport transport;
  CollectingHandler handler;
  transport.send(postTo(server.url("/v1/responses"), R"({"model":"x"})"), handler, {});

  EXPECT_EQ(received.method, "POST");
  EXPECT_EQ(received.target, "/v1/responses");
  EXPECT_EQ(received.body, R"({"model":"x"})");
  ASSERT_TRUE(handler.head);
  EXPECT_EQ(handler.head->status, 200);
  EXPECT_EQ(handler.head->header("content-type"), "text/event-stream");
  EXPECT_EQ(handler.body, body);
}

// The transport's error for `request`, or nullopt when it succeeded. Which errors
// are retried is AIHTTPClient's rule, tested there.
std::optional<HTTPTransportError::Code> failureOf(const ai::HTTPRequest& request) {
  CollectingHandler handler;
  try {
    CurlHTTPTransport().send(request, handler, {});
  } catch (const HTTPTransportError& error) {
    return error.code();
  }
  return std::nullopt;
}

TEST(CurlHTTPTransport, AConnectionDroppedMidStreamIsLost) {
  LoopbackHTTPServer server([](const LoopbackRequest&, LoopbackConnection& connection, int) {
    connection.write(kChunkedHead);
    connection.writeChunk("data: first\n\n");  // and closes without the last chunk
  });
  EXPECT_EQ(failureOf(postTo(server.url())), HTTPTransportError::Code::kConnectionLost);
}

TEST(CurlHTTPTransport, StalledStreamEndsPromptlyWhenTheConsumerCancels) {
  LoopbackHTTPServer server([](const LoopbackRequest&, LoopbackConnection& connection, int) {
    connection.write(kChunkedHead);
    connection.writeChunk("data: hello\n\n");
    connection.stallUntilServerStops();
  });
  CurlHTTPTransport transport;
  CollectingHandler handler;
  std::latch firstBody(1);
  handler.firstBody = &firstBody;
  std::promise<std::exception_ptr> outcome;
  std::jthread sender([&](std::stop_token stop) {
    try {
      transport.send(postTo(server.url()), handler, stop);
      outcome.set_value(nullptr);
    } catch (...) {
      outcome.set_value(std::current_exception());
    }
  });
  firstBody.wait();
  sender.request_stop();
  const std::exception_ptr error = outcome.get_future().get();
  ASSERT_TRUE(error);
  EXPECT_THROW(std::rethrow_exception(error), core::CancellationError);
  EXPECT_EQ(handler.body, "data: hello\n\n");
}

TEST(CurlHTTPTransport, SilentStreamTimesOut) {
  LoopbackHTTPServer server([](const LoopbackRequest&, LoopbackConnection& connection, int) {
    connection.write(kChunkedHead);
    connection.stallUntilServerStops();
  });
  ai::HTTPRequest request = postTo(server.url());
  request.connectTimeout = 100ms;
  request.idleTimeout = 100ms;
  EXPECT_EQ(failureOf(request), HTTPTransportError::Code::kTimedOut);
}

TEST(CurlHTTPTransport, RefusedConnectionAndHandlerFailures) {
  std::string closedURL;
  {
    LoopbackHTTPServer server([](const LoopbackRequest&, LoopbackConnection&, int) {});
    closedURL = server.url();
  }
  EXPECT_EQ(failureOf(postTo(closedURL)), HTTPTransportError::Code::kCannotConnect);

  // What the handler throws comes out of send() as it was.
  LoopbackHTTPServer server([](const LoopbackRequest&, LoopbackConnection& connection, int) {
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  });
  class Throwing : public ai::HTTPResponseHandler {
    void onResponse(const ai::HTTPResponseHead&) override {}
    void onBody(std::string_view) override { throw std::logic_error("consumer failed"); }
  } throwing;
  EXPECT_THROW(CurlHTTPTransport().send(postTo(server.url()), throwing, {}), std::logic_error);
}

TEST(CurlHTTPTransport, TrustsAGivenAuthorityAndRefusesAnUnknownCertificate) {
  const testing::LoopbackTLSIdentity identity = testing::makeLoopbackTLSIdentity();
  testing::TestFolder folder;
  std::ofstream(folder.file("ca.pem")) << identity.certificatePEM;
  LoopbackHTTPServer server(
      [](const LoopbackRequest&, LoopbackConnection& connection, int) {
        connection.write("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nsecure");
      },
      4, identity);
  ASSERT_TRUE(server.url().starts_with("https://"));

  CollectingHandler trusted;
  CurlHTTPTransport(folder.file("ca.pem")).send(postTo(server.url()), trusted, {});
  EXPECT_EQ(trusted.body, "secure");

  CollectingHandler untrusted;
  EXPECT_THROW(CurlHTTPTransport().send(postTo(server.url()), untrusted, {}), HTTPTransportError);
  EXPECT_EQ(untrusted.body, "");
}

}  // namespace
}  // namespace zephyl::platform
