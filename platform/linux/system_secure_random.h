// ai::SecureRandom on the kernel's random source (getrandom).
#pragma once

#include "ai/secure_random.h"

namespace zephyl::platform {

class SystemSecureRandom : public ai::SecureRandom {
 public:
  // Throws std::system_error when the kernel refuses.
  std::string bytes(size_t count) override;
};

}  // namespace zephyl::platform
