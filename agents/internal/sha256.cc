#include "agents/internal/sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace zephyl::agents::internal {

SHA256::SHA256() : context_(EVP_MD_CTX_new()) {
  if (context_ == nullptr || EVP_DigestInit_ex(context_, EVP_sha256(), nullptr) != 1) {
    EVP_MD_CTX_free(context_);
    throw std::runtime_error("SHA-256 is not available");
  }
}

SHA256::~SHA256() { EVP_MD_CTX_free(context_); }

void SHA256::update(std::string_view bytes) { EVP_DigestUpdate(context_, bytes.data(), bytes.size()); }

std::string SHA256::finishHex() {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_DigestFinal_ex(context_, digest, &length);
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex += kDigits[digest[i] >> 4];
    hex += kDigits[digest[i] & 0xF];
  }
  return hex;
}

}  // namespace zephyl::agents::internal
