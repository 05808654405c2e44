// OAuthAccountAccessSource: the signed-in account's access as account-based
// adapters ask for it, supplied and refreshed by the sign-in coordinator.
#pragma once

#include "ai/ai_account_access.h"
#include "ai/oauth_credential_coordinator.h"

namespace zephyl::ai {

class OAuthAccountAccessSource : public AIAccountAccessSource {
 public:
  // `coordinator` must outlive this source.
  explicit OAuthAccountAccessSource(OAuthCredentialCoordinator& coordinator) : coordinator_(coordinator) {}

  std::optional<AIAccountAccess> currentAccess(std::stop_token stop) override;
  std::optional<AIAccountAccess> refreshAfterUnauthorized(const AIAccountAccess& rejected,
                                                          std::stop_token stop) override;

 private:
  OAuthCredentialCoordinator& coordinator_;
};

}  // namespace zephyl::ai
