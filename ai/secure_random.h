// Random bytes fit for secrets (PKCE verifiers, OAuth state), behind an
// interface so that sign-in tests are deterministic.
#pragma once

#include <cstddef>
#include <string>

namespace zephyl::ai {

class SecureRandom {
 public:
  virtual ~SecureRandom() = default;
  // `count` bytes from a cryptographically secure source; safe from any thread.
  virtual std::string bytes(size_t count) = 0;
};

}  // namespace zephyl::ai
