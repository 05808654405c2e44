// XAIImageGenerationService: the AIImageGenerator behind xAI's image tool, one
// POST to the service's "/images/generations" endpoint (OpenAI-compatible:
// {"model", "prompt", "n", "response_format": "b64_json"} answered by
// {"data": [{"b64_json", "revised_prompt"}]}).
#pragma once

#include <functional>
#include <string>

#include "ai/ai_account_access.h"
#include "ai/ai_http_client.h"
#include "ai/ai_image_generator.h"

namespace zephyl::ai {

class XAIImageGenerationService : public AIImageGenerator {
 public:
  static constexpr std::string_view kImageModel = "grok-2-image";

  using AccessLookup = std::function<AIAccountAccess(std::stop_token)>;

  // `http` must outlive the service; `access` supplies the credential (and
  // throws when there is none); `baseURL` is the xAI API root.
  XAIImageGenerationService(AIHTTPClient& http, AccessLookup access, std::string baseURL);

  // Throws AIImageGeneratorError: kInvalidOptions for a refused request,
  // kCopyrightedMaterial when the service says so, kFailed otherwise.
  AIGeneratedImageData generate(const AIImageGenerationRequest& request, std::stop_token stop) override;

 private:
  AIHTTPClient& http_;
  AccessLookup access_;
  std::string baseURL_;
};

}  // namespace zephyl::ai
