#include "editor/uuid_generator.h"

#include <array>
#include <memory>

namespace zephyl::editor {

RandomUuidGenerator::RandomUuidGenerator() {
  std::random_device device;
  auto engine = std::make_shared<std::mt19937_64>((static_cast<uint64_t>(device()) << 32) ^ device());
  random_ = [engine] { return (*engine)(); };
}

std::string RandomUuidGenerator::makeUuid() {
  std::array<uint8_t, 16> bytes;
  {
    core::MutexLock lock(mutex_);
    const uint64_t high = random_();
    const uint64_t low = random_();
    for (int i = 0; i < 8; ++i) {
      bytes[i] = static_cast<uint8_t>(high >> (56 - 8 * i));
      bytes[8 + i] = static_cast<uint8_t>(low >> (56 - 8 * i));
    }
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back(kHex[bytes[i] >> 4]);
    text.push_back(kHex[bytes[i] & 0x0F]);
  }
  return text;
}

}  // namespace zephyl::editor
