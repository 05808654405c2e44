#include "platform/linux/curl_http_transport.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "core/logger.h"

namespace zephyl::platform {
namespace {

using ai::HTTPTransportError;
using Clock = std::chrono::steady_clock;

constexpr core::Logger kLog("CurlHTTPTransport");

// How long one wait may last when no deadline is closer; stop requests wake it anyway.
constexpr int kMaximumPollMilliseconds = 1000;

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiDeleter {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct ListDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// The state one transfer's callbacks share; only the sending thread touches it.
struct Transfer {
  CURL* easy = nullptr;
  ai::HTTPResponseHandler* handler = nullptr;
  ai::HTTPHeaders headers;
  bool headDelivered = false;
  Clock::time_point lastActivity = Clock::now();
  std::exception_ptr handlerFailure;  // what the handler threw, rethrown after curl unwinds

  void deliverHead() {
    if (headDelivered) return;
    headDelivered = true;
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    handler->onResponse(ai::HTTPResponseHead{status, headers});
  }
};

size_t onHeader(char* data, size_t size, size_t count, void* context) {
  auto& transfer = *static_cast<Transfer*>(context);
  const size_t length = size * count;
  transfer.lastActivity = Clock::now();
  std::string_view line(data, length);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
  if (line.starts_with("HTTP/")) {
    // A new status line (after 100 Continue or a redirect) starts a new header set.
    transfer.headers.clear();
    return length;
  }
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) return length;
  std::string_view value = line.substr(colon + 1);
  while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
  transfer.headers.emplace_back(std::string(line.substr(0, colon)), std::string(value));
  return length;
}

size_t onBody(char* data, size_t size, size_t count, void* context) {
  auto& transfer = *static_cast<Transfer*>(context);
  const size_t length = size * count;
  transfer.lastActivity = Clock::now();
  try {
    transfer.deliverHead();
    transfer.handler->onBody(std::string_view(data, length));
  } catch (...) {
    // Exceptions must not cross libcurl's C frames; returning short aborts the transfer.
    transfer.handlerFailure = std::current_exception();
    return 0;
  }
  return length;
}

HTTPTransportError::Code errorCode(CURLcode code) {
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SSL_CONNECT_ERROR:
      return HTTPTransportError::Code::kCannotConnect;
    case CURLE_OPERATION_TIMEDOUT:
      return HTTPTransportError::Code::kTimedOut;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2_STREAM:
      return HTTPTransportError::Code::kConnectionLost;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_HTTP2:
    case CURLE_UNSUPPORTED_PROTOCOL:
      return HTTPTransportError::Code::kProtocolError;
    default:
      return HTTPTransportError::Code::kFailed;
  }
}

void setOption(CURL* easy, CURLoption option, auto value) {
  if (curl_easy_setopt(easy, option, value) != CURLE_OK) {
    throw HTTPTransportError(HTTPTransportError::Code::kFailed, 0, "libcurl rejected an option");
  }
}

}  // namespace

CurlHTTPTransport::CurlHTTPTransport(std::string certificateAuthorityFile)
    : certificateAuthorityFile_(std::move(certificateAuthorityFile)) {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

void CurlHTTPTransport::send(const ai::HTTPRequest& request, ai::HTTPResponseHandler& handler,
                             std::stop_token stop) {
  if (stop.stop_requested()) throw core::CancellationError();
  std::unique_ptr<CURL, EasyDeleter> easy(curl_easy_init());
  std::unique_ptr<CURLM, MultiDeleter> multi(curl_multi_init());
  if (!easy || !multi)
    throw HTTPTransportError(HTTPTransportError::Code::kFailed, 0, "libcurl could not start");

  Transfer transfer;
  transfer.easy = easy.get();
  transfer.handler = &handler;

  curl_slist* rawList = nullptr;
  for (const auto& [name, value] : request.headers)
    rawList = curl_slist_append(rawList, (name + ": " + value).c_str());
  // Bodies are sent at once; waiting for "100 Continue" only adds a round trip.
  rawList = curl_slist_append(rawList, "Expect:");
  std::unique_ptr<curl_slist, ListDeleter> headerList(rawList);

  CURL* handle = easy.get();
  setOption(handle, CURLOPT_URL, request.url.c_str());
  setOption(handle, CURLOPT_NOSIGNAL, 1L);
  setOption(handle, CURLOPT_HTTPHEADER, headerList.get());
  if (request.method == "POST" || !request.body.empty()) {
    setOption(handle, CURLOPT_POSTFIELDS, request.body.data());
    setOption(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  }
  if (request.method != "POST" && request.method != "GET") {
    setOption(handle, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  } else if (request.method == "GET" && request.body.empty()) {
    setOption(handle, CURLOPT_HTTPGET, 1L);
  }
  setOption(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.connectTimeout.count()));
  if (request.totalTimeout)
    setOption(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(request.totalTimeout->count()));
  setOption(handle, CURLOPT_HEADERFUNCTION, &onHeader);
  setOption(handle, CURLOPT_HEADERDATA, &transfer);
  setOption(handle, CURLOPT_WRITEFUNCTION, &onBody);
  setOption(handle, CURLOPT_WRITEDATA, &transfer);
  setOption(handle, CURLOPT_ACCEPT_ENCODING, "");  // whatever curl can decode
  if (!certificateAuthorityFile_.empty())
    setOption(handle, CURLOPT_CAINFO, certificateAuthorityFile_.c_str());

  if (curl_multi_add_handle(multi.get(), handle) != CURLM_OK) {
    throw HTTPTransportError(HTTPTransportError::Code::kFailed, 0, "libcurl could not add the transfer");
  }
  // Removed before the easy handle is cleaned up, whichever way send() ends.
  struct Detach {
    CURLM* multi;
    CURL* easy;
    ~Detach() { curl_multi_remove_handle(multi, easy); }
  } detach{multi.get(), handle};

  CURLM* multiHandle = multi.get();
  std::stop_callback wake(stop, [multiHandle] { curl_multi_wakeup(multiHandle); });

  // The first byte may take the connect time-out plus the idle time-out.
  transfer.lastActivity = Clock::now() + request.connectTimeout;
  std::optional<CURLcode> result;
  while (!result) {
    int running = 0;
    if (curl_multi_perform(multiHandle, &running) != CURLM_OK) {
      throw HTTPTransportError(HTTPTransportError::Code::kFailed, 0, "libcurl multi interface failed");
    }
    if (transfer.handlerFailure) std::rethrow_exception(transfer.handlerFailure);
    int queued = 0;
    while (CURLMsg* message = curl_multi_info_read(multiHandle, &queued)) {
      if (message->msg == CURLMSG_DONE && message->easy_handle == handle) result = message->data.result;
    }
    if (result) break;
    if (stop.stop_requested()) throw core::CancellationError();

    const auto now = Clock::now();
    if (now - transfer.lastActivity >= request.idleTimeout) {
      throw HTTPTransportError(HTTPTransportError::Code::kTimedOut, CURLE_OPERATION_TIMEDOUT,
                               "no data for " + std::to_string(request.idleTimeout.count()) + " ms");
    }
    const auto idleLeft = std::chrono::duration_cast<std::chrono::milliseconds>(transfer.lastActivity +
                                                                                request.idleTimeout - now);
    const int wait = static_cast<int>(std::clamp<int64_t>(idleLeft.count(), 1, kMaximumPollMilliseconds));
    if (curl_multi_poll(multiHandle, nullptr, 0, wait, nullptr) != CURLM_OK) {
      throw HTTPTransportError(HTTPTransportError::Code::kFailed, 0, "libcurl could not wait");
    }
  }

  if (transfer.handlerFailure) std::rethrow_exception(transfer.handlerFailure);
  if (*result != CURLE_OK) {
    if (stop.stop_requested()) throw core::CancellationError();
    kLog.info() << "Transfer failed code=" << static_cast<long>(*result) << " "
                << curl_easy_strerror(*result);
    throw HTTPTransportError(errorCode(*result), static_cast<long>(*result), curl_easy_strerror(*result));
  }
  // A response without a body still has a head.
  transfer.deliverHead();
}

}  // namespace zephyl::platform
