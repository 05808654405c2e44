#include "cli/assistant_web_tools.h"

#include "ai/web_search_service_keys.h"
#include "assistant/web_fetch_tool.h"
#include "assistant/web_search_tool.h"
#include "core/logger.h"
#include "platform/linux/curl_http_transport.h"

namespace zephyl::cli {
namespace {

const core::Logger kLog("AssistantWebTools");

bool searchesNatively(ai::AIProvider provider) {
  switch (ai::transportFamily(provider)) {
    case ai::AITransportFamily::kChatGPTAccountResponses:
    case ai::AITransportFamily::kOpenAIAPIKeyResponses:
    case ai::AITransportFamily::kXAIAccountResponses:
      return true;
    default:
      return false;
  }
}

}  // namespace

void addAssistantWebTools(CliContext& context, ai::AIProvider provider, ai::AIStreamRequest& request) {
  // An agent (and the mode that leaves the web to it) brings its own tools.
  if (request.webSearchMode == ai::AIWebToolMode::kOff ||
      request.webSearchMode == ai::AIWebToolMode::kProviderNative ||
      ai::transportFamily(provider) == ai::AITransportFamily::kAntigravityAgent)
    return;
  // One transport for both tools; curl here never follows a redirect by itself.
  const auto transport = std::make_shared<platform::CurlHTTPTransport>();
  request.webFetchMode = ai::AIWebToolMode::kAutomatic;
  request.functionTools.push_back(
      std::make_shared<assistant::WebFetchTool>(transport, assistant::resolvedWebHostScope));
  if (searchesNatively(provider)) return;

  const std::string endpoint =
      context.settings().stringValue(std::string(ai::kWebSearchServiceURLKey)).value_or("");
  std::optional<std::string> key;
  try {
    key = context.credentials().secret(std::string(ai::kWebSearchServiceKeyName));
  } catch (const std::exception& error) {
    kLog.warning() << "The web search key could not be read: " << error.what();
  }
  if (endpoint.empty() || !key || key->empty()) {
    context.streams().err << "Web search is unavailable with " << ai::brandLabel(provider)
                          << ": it has no web search of its own and no search service is set up (the "
                             "webSearchServiceURL setting, and the key in ZEPHYL_WEB_SEARCH_KEY or the "
                             "credential store as webSearchServiceKey). Web fetch still works.\n";
    return;
  }
  request.functionTools.push_back(std::make_shared<assistant::WebSearchTool>(transport, endpoint, *key));
}

}  // namespace zephyl::cli
