#include "ai/xai_image_generation_service.h"

#include "ai/ai_service_endpoint.h"
#include "core/ascii_lowercase.h"
#include "core/base64.h"
#include "core/json_value.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;

constexpr core::Logger kLog("XAIImageGenerationService");

// The service answers JPEG today; the bytes say what they are.
std::string mediaTypeOf(std::string_view bytes) {
  if (bytes.starts_with("\x89PNG")) return "image/png";
  if (bytes.size() >= 12 && bytes.starts_with("RIFF") && bytes.substr(8, 4) == "WEBP") return "image/webp";
  return "image/jpeg";
}

AIImageGeneratorError refusal(long status, std::string_view body) {
  if (core::asciiLowercase(body).find("copyright") != std::string::npos) {
    return AIImageGeneratorError(AIImageGeneratorError::Code::kCopyrightedMaterial);
  }
  if (status == 400 || status == 422)
    return AIImageGeneratorError(AIImageGeneratorError::Code::kInvalidOptions);
  return AIImageGeneratorError(AIImageGeneratorError::Code::kFailed);
}

}  // namespace

XAIImageGenerationService::XAIImageGenerationService(AIHTTPClient& http, AccessLookup access,
                                                     std::string baseURL)
    : http_(http), access_(std::move(access)), baseURL_(std::move(baseURL)) {}

AIGeneratedImageData XAIImageGenerationService::generate(const AIImageGenerationRequest& request,
                                                         std::stop_token stop) {
  HTTPRequest http;
  http.url = serviceURL(baseURL_, "/images/generations");
  if (!requireCredentialSafeURL(http.url)) throw AIImageGeneratorError(AIImageGeneratorError::Code::kFailed);
  http.headers = {{"Authorization", "Bearer " + access_(stop).accessToken},
                  {"Content-Type", "application/json"}};
  http.body =
      JSONValue(
          JSONValue::Object{
              {"model", kImageModel}, {"prompt", request.prompt}, {"n", 1}, {"response_format", "b64_json"}})
          .serialized();
  http.totalTimeout = std::chrono::seconds(120);
  std::string body;
  try {
    http_.send(http, AITransportRetryPolicy::interactive(), /*safeToRepeat=*/false, stop,
               [&body](std::string_view bytes) { body += bytes; });
  } catch (const AIHTTPClientError& error) {
    throw refusal(error.status(), error.body());
  } catch (const HTTPTransportError& error) {
    kLog.warning() << "Image request failed: " << error.description();
    throw AIImageGeneratorError(AIImageGeneratorError::Code::kFailed);
  }
  try {
    const JSONValue answer = JSONValue::parse(body);
    const JSONValue* data = answer.find("data");
    if (data != nullptr && data->array() != nullptr && !data->array()->empty()) {
      const JSONValue* encoded = data->array()->front().find("b64_json");
      if (encoded != nullptr && encoded->string() != nullptr) {
        if (auto bytes = core::base64Decode(*encoded->string()); bytes && !bytes->empty()) {
          return {mediaTypeOf(*bytes), std::move(*bytes)};
        }
      }
    }
  } catch (const core::JSONValueError& error) {
    kLog.warning() << "Image answer unreadable: " << error.description();
  }
  throw AIImageGeneratorError(AIImageGeneratorError::Code::kFailed);
}

}  // namespace zephyl::ai
