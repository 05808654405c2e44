#include "platform/linux/system_secure_random.h"

#include <sys/random.h>

#include <cerrno>
#include <system_error>

namespace zephyl::platform {

std::string SystemSecureRandom::bytes(size_t count) {
  std::string out(count, '\0');
  size_t filled = 0;
  while (filled < count) {
    const ssize_t n = ::getrandom(out.data() + filled, count - filled, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    filled += static_cast<size_t>(n);
  }
  return out;
}

}  // namespace zephyl::platform
