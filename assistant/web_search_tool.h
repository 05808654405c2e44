// WebSearchTool: web search as a function tool, for providers without a search
// tool of their own, against a search service the user configured. Zephyl
// sends GET <endpoint>?q=<query> with "Authorization: Bearer <key>" and reads
// {"results": [{"title", "url", "snippet"}, ...]}; the results go back to the
// model wrapped as untrusted reference data.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "ai/ai_function_tool.h"
#include "ai/http_transport.h"

namespace zephyl::assistant {

class WebSearchTool : public ai::AIFunctionTool {
 public:
  static constexpr std::string_view kName = "search_web";
  // The most results passed to the model.
  static constexpr size_t kMaximumResults = 8;

  // `endpoint` must be https (or http on this computer): the key travels with each query.
  WebSearchTool(std::shared_ptr<ai::HTTPTransport> transport, std::string endpoint, std::string key,
                std::chrono::milliseconds timeout = std::chrono::seconds(20))
      : transport_(std::move(transport)),
        endpoint_(std::move(endpoint)),
        key_(std::move(key)),
        timeout_(timeout) {}

  std::string name() const override { return std::string(kName); }
  core::JSONValue definition() const override;
  ai::AIToolKind kind() const override { return ai::AIToolKind::kWebSearch; }
  ai::AIToolCallUpdate started(const core::JSONValue& arguments) const override;
  ai::AIFunctionToolOutcome run(const core::JSONValue& arguments, std::stop_token stop,
                                ai::AIToolCallUpdate& update) override;

 private:
  std::shared_ptr<ai::HTTPTransport> transport_;
  std::string endpoint_;
  std::string key_;
  std::chrono::milliseconds timeout_;
};

}  // namespace zephyl::assistant
