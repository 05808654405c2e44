// AIImageGenerator: makes one image from a prompt, for services whose image
// tool Zephyl runs itself (xAI asks through a function call and gets the
// outcome back as the call's output).
#pragma once

#include <stop_token>
#include <string>

#include "core/error.h"

namespace zephyl::ai {

class AIImageGeneratorError : public core::Error {
 public:
  enum class Code { kInvalidOptions, kCopyrightedMaterial, kFailed, kUnavailable };

  explicit AIImageGeneratorError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kInvalidOptions:
        return "The image request had invalid options.";
      case Code::kCopyrightedMaterial:
        return "The image request may contain copyrighted material.";
      case Code::kFailed:
        return "The image could not be generated.";
      case Code::kUnavailable:
        return "Image generation is not available for this service.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

struct AIImageGenerationRequest {
  std::string prompt;
  std::string model;  // the chat model that asked; generators may ignore it
};

struct AIGeneratedImageData {
  std::string mediaType;  // "image/png", "image/jpeg", "image/webp"
  std::string bytes;
};

class AIImageGenerator {
 public:
  virtual ~AIImageGenerator() = default;
  // Throws AIImageGeneratorError, core::CancellationError once `stop` is requested.
  virtual AIGeneratedImageData generate(const AIImageGenerationRequest& request, std::stop_token stop) = 0;
};

// Stands in where no image service is wired: every request fails with kUnavailable.
class UnavailableAIImageGenerator : public AIImageGenerator {
 public:
  AIGeneratedImageData generate(const AIImageGenerationRequest&, std::stop_token) override {
    throw AIImageGeneratorError(AIImageGeneratorError::Code::kUnavailable);
  }
};

}  // namespace zephyl::ai
