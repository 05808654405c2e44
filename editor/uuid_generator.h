// Fresh identifiers behind an interface, so that tests see predictable ones.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <random>
#include <string>

#include "core/mutex.h"

namespace zephyl::editor {

class UuidGenerator {
 public:
  virtual ~UuidGenerator() = default;
  // A new identifier in the canonical upper-case 8-4-4-4-12 form. Any thread.
  virtual std::string makeUuid() = 0;
};

// Version 4 (random) UUIDs from a 64-bit random source.
class RandomUuidGenerator : public UuidGenerator {
 public:
  // Seeded from std::random_device.
  RandomUuidGenerator();
  // Draws its bits from `random`, which is called under this generator's lock.
  explicit RandomUuidGenerator(std::function<uint64_t()> random) : random_(std::move(random)) {}

  std::string makeUuid() override;

 private:
  core::Mutex mutex_;
  std::function<uint64_t()> random_ ZEPHYL_GUARDED_BY(mutex_);
};

}  // namespace zephyl::editor
