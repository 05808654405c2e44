// Randomness behind an interface, so that jittered delays are tested exactly.
#pragma once

namespace zephyl::ai {

class RandomSource {
 public:
  virtual ~RandomSource() = default;
  // A uniformly distributed number in [0, 1]. Implementations are safe to call
  // from any thread.
  virtual double nextUnit() = 0;
};

}  // namespace zephyl::ai
