#include "ai/oauth_pkce.h"

#include <openssl/sha.h>

#include "ai/oauth_encoding.h"

namespace zephyl::ai {

PKCEChallenge makePKCEChallenge(SecureRandom& random) {
  PKCEChallenge pkce;
  pkce.verifier = base64URLEncode(random.bytes(32));
  pkce.challenge = pkceS256Challenge(pkce.verifier);
  return pkce;
}

std::string pkceS256Challenge(std::string_view verifier) {
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(verifier.data()), verifier.size(), digest);
  return base64URLEncode(std::string_view(reinterpret_cast<const char*>(digest), sizeof digest));
}

std::string makeOAuthState(SecureRandom& random) { return base64URLEncode(random.bytes(24)); }

}  // namespace zephyl::ai
