// Proof Key for Code Exchange (RFC 7636, method S256) and the OAuth state: the
// two random values that tie an authorization answer to the attempt that asked.
#pragma once

#include <string>
#include <string_view>

#include "ai/secure_random.h"

namespace zephyl::ai {

struct PKCEChallenge {
  std::string verifier;   // 43 URL-safe characters, kept until the code is exchanged
  std::string challenge;  // base64url(SHA-256(verifier)), sent with the authorization request
};

PKCEChallenge makePKCEChallenge(SecureRandom& random);
std::string pkceS256Challenge(std::string_view verifier);
// A fresh random state value, URL-safe.
std::string makeOAuthState(SecureRandom& random);

}  // namespace zephyl::ai
