// SHA-256 over bytes that arrive in pieces (a download as it streams in).
#pragma once

#include <memory>
#include <string>
#include <string_view>

typedef struct evp_md_ctx_st EVP_MD_CTX;

namespace zephyl::agents::internal {

class SHA256 {
 public:
  SHA256();
  ~SHA256();
  SHA256(const SHA256&) = delete;
  SHA256& operator=(const SHA256&) = delete;

  void update(std::string_view bytes);
  // The digest of everything given, as 64 lowercase hex digits; call once.
  std::string finishHex();

 private:
  EVP_MD_CTX* context_;
};

}  // namespace zephyl::agents::internal
