#include "ai/oauth_pkce.h"

#include <openssl/sha.h>

#include "core/base64.h"

namespace zephyl::ai {

PKCEChallenge makePKCEChallenge(SecureRandom& random) {
  PKCEChallenge pkce;
  pkce.verifier = core::base64Encode(random.bytes(32), core::Base64Alphabet::kURL);
  pkce.challenge = pkceS256Challenge(pkce.verifier);
  return pkce;
}

std::string pkceS256Challenge(std::string_view verifier) {
  unsigned char digest[SHA256_DIGEST_LENGTH];
  SHA256(reinterpret_cast<const unsigned char*>(verifier.data()), verifier.size(), digest);
  return core::base64Encode(std::string_view(reinterpret_cast<const char*>(digest), sizeof digest),
                            core::Base64Alphabet::kURL);
}

std::string makeOAuthState(SecureRandom& random) {
  return core::base64Encode(random.bytes(24), core::Base64Alphabet::kURL);
}

}  // namespace zephyl::ai
