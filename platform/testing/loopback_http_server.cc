#include "platform/testing/loopback_http_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace zephyl::platform::testing {
namespace {

// Reads what has arrived, through TLS when the connection has it.
ssize_t receive(int socket, SSL* tls, char* buffer, size_t size) {
  if (tls != nullptr) return SSL_read(tls, buffer, static_cast<int>(size));
  return ::recv(socket, buffer, size, 0);
}

// Reads one request head and its Content-Length body; false on EOF or error.
bool readRequest(int socket, SSL* tls, LoopbackRequest& request) {
  std::string data;
  char buffer[4096];
  size_t headEnd;
  while ((headEnd = data.find("\r\n\r\n")) == std::string::npos) {
    const ssize_t got = receive(socket, tls, buffer, sizeof buffer);
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
    const std::string line =
        head.substr(start, lineEnd == std::string::npos ? std::string::npos : lineEnd - start);
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    std::string value = line.substr(colon + 1);
    while (!value.empty() && value.front() == ' ') value.erase(0, 1);
    request.headers.emplace_back(line.substr(0, colon), value);
    if (strcasecmp(line.substr(0, colon).c_str(), "Content-Length") == 0) contentLength = std::stoul(value);
  }
  request.body = data.substr(headEnd + 4);
  while (request.body.size() < contentLength) {
    const ssize_t got = receive(socket, tls, buffer, sizeof buffer);
    if (got <= 0) return false;
    request.body.append(buffer, static_cast<size_t>(got));
  }
  return true;
}

std::string pemText(const std::function<int(BIO*)>& write) {
  std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new(BIO_s_mem()), BIO_free);
  if (!bio || write(bio.get()) != 1) throw std::runtime_error("PEM encoding failed");
  char* data = nullptr;
  const long length = BIO_get_mem_data(bio.get(), &data);
  return std::string(data, static_cast<size_t>(length));
}

void addExtension(X509* certificate, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
  if (extension == nullptr || X509_add_ext(certificate, extension, -1) != 1) {
    throw std::runtime_error("certificate extension failed");
  }
  X509_EXTENSION_free(extension);
}

}  // namespace

LoopbackTLSIdentity makeLoopbackTLSIdentity() {
  std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
  if (!key || !certificate) throw std::runtime_error("key generation failed");
  X509* cert = certificate.get();
  X509_set_version(cert, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(cert), static_cast<long>(::getpid()));
  X509_gmtime_adj(X509_getm_notBefore(cert), -60);
  X509_gmtime_adj(X509_getm_notAfter(cert), 24 * 60 * 60);
  X509_set_pubkey(cert, key.get());
  X509_NAME* name = X509_get_subject_name(cert);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("127.0.0.1"),
                             -1, -1, 0);
  X509_set_issuer_name(cert, name);
  addExtension(cert, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(cert, NID_key_usage, "critical,digitalSignature,keyCertSign");
  addExtension(cert, NID_subject_key_identifier, "hash");
  addExtension(cert, NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost");
  if (X509_sign(cert, key.get(), EVP_sha256()) == 0) throw std::runtime_error("certificate signing failed");
  return LoopbackTLSIdentity{
      pemText([cert](BIO* bio) { return PEM_write_bio_X509(bio, cert); }), pemText([&key](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
      })};
}

bool LoopbackConnection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = tls_ != nullptr ? SSL_write(tls_, bytes.data(), static_cast<int>(bytes.size()))
                                         : ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
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

bool LoopbackConnection::writeResponse(std::string_view status, std::string_view contentType,
                                       std::string_view body) {
  const std::string type = contentType.empty() ? "" : "Content-Type: " + std::string(contentType) + "\r\n";
  return write("HTTP/1.1 " + std::string(status) + "\r\n" + type + "Content-Length: " +
               std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + std::string(body));
}

bool LoopbackConnection::writeChunkedResponse(std::string_view status, std::string_view contentType,
                                              std::string_view body, size_t chunk) {
  bool written = write("HTTP/1.1 " + std::string(status) + "\r\nContent-Type: " + std::string(contentType) +
                       "\r\nTransfer-Encoding: chunked\r\n\r\n");
  for (size_t at = 0; written && at < body.size(); at += chunk) written = writeChunk(body.substr(at, chunk));
  return written && writeChunk("");
}

void LoopbackConnection::stallUntilServerStops() {
  while (!stopping_()) {
    pollfd entry{socket_, POLLIN, 0};
    // Wakes when the client goes away, or every 20 ms to look at the stop flag.
    if (::poll(&entry, 1, 20) > 0) {
      char byte;
      const ssize_t peeked = tls_ != nullptr ? SSL_peek(tls_, &byte, 1) : ::recv(socket_, &byte, 1, MSG_PEEK);
      if (peeked <= 0) return;
    }
  }
}

LoopbackHTTPServer::LoopbackHTTPServer(Handler handler, int maximumRequests,
                                       std::optional<LoopbackTLSIdentity> tls)
    : handler_(std::move(handler)), maximumRequests_(maximumRequests) {
  if (tls) {
    tlsContext_ = SSL_CTX_new(TLS_server_method());
    std::unique_ptr<BIO, decltype(&BIO_free)> certificateText(
        BIO_new_mem_buf(tls->certificatePEM.data(), static_cast<int>(tls->certificatePEM.size())), BIO_free);
    std::unique_ptr<BIO, decltype(&BIO_free)> keyText(
        BIO_new_mem_buf(tls->privateKeyPEM.data(), static_cast<int>(tls->privateKeyPEM.size())), BIO_free);
    std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(certificateText.get(), nullptr, nullptr, nullptr), X509_free);
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        PEM_read_bio_PrivateKey(keyText.get(), nullptr, nullptr, nullptr), EVP_PKEY_free);
    if (tlsContext_ == nullptr || !certificate || !key ||
        SSL_CTX_use_certificate(tlsContext_, certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(tlsContext_, key.get()) != 1) {
      SSL_CTX_free(tlsContext_);
      throw std::runtime_error("TLS set-up failed");
    }
  }
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener_ < 0) throw std::runtime_error("socket failed");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener_, 8) != 0) {
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
  SSL_CTX_free(tlsContext_);
}

std::string LoopbackHTTPServer::url(std::string_view path) const {
  return std::string(tlsContext_ != nullptr ? "https" : "http") + "://127.0.0.1:" + std::to_string(port_) +
         std::string(path);
}

void LoopbackHTTPServer::serve() {
  while (!stopping_) {
    pollfd entry{listener_, POLLIN, 0};
    if (::poll(&entry, 1, 20) <= 0) continue;
    const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) continue;
    const int one = 1;
    ::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    std::unique_ptr<SSL, decltype(&SSL_free)> tls(nullptr, SSL_free);
    if (tlsContext_ != nullptr) {
      // A client that connects and says nothing must not hold the server past its stop.
      const timeval limit{5, 0};
      ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
      tls.reset(SSL_new(tlsContext_));
      // A client that refuses the certificate ends the handshake: nothing to serve.
      if (!tls || SSL_set_fd(tls.get(), client) != 1 || SSL_accept(tls.get()) != 1) {
        ERR_clear_error();
        ::close(client);
        continue;
      }
    }
    LoopbackRequest request;
    if (requestCount_ < maximumRequests_ && readRequest(client, tls.get(), request)) {
      const int index = requestCount_++;
      LoopbackConnection connection(client, tls.get(), [this] { return stopping_.load(); });
      handler_(request, connection, index);
    }
    if (tls) SSL_shutdown(tls.get());
    ::close(client);
  }
}

}  // namespace zephyl::platform::testing
