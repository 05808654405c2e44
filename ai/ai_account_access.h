// AIAccountAccess: what an account-based service (the ChatGPT account, the xAI
// account) needs on each request, and the source that supplies and refreshes
// it. The sign-in coordinator implements the source; adapters only ask.
#pragma once

#include <optional>
#include <stop_token>
#include <string>

namespace zephyl::ai {

struct AIAccountAccess {
  std::string accessToken;
  std::optional<std::string> accountID;  // "chatgpt-account-id" for the ChatGPT backend

  bool operator==(const AIAccountAccess&) const = default;
};

class AIAccountAccessSource {
 public:
  virtual ~AIAccountAccessSource() = default;

  // The signed-in account's access, refreshed first when it is known to have
  // expired; nullopt when no account is signed in. Throws the coordinator's
  // error when a needed refresh fails, core::CancellationError once `stop` is
  // requested. Safe from any thread.
  virtual std::optional<AIAccountAccess> currentAccess(std::stop_token stop) = 0;

  // Called once after the service answered 401 to `rejected`: a refreshed
  // access, or nullopt when no account is signed in any more. Throws as
  // currentAccess, e.g. "sign in again" when the issuer refuses the refresh.
  virtual std::optional<AIAccountAccess> refreshAfterUnauthorized(const AIAccountAccess& rejected,
                                                                  std::stop_token stop) = 0;
};

}  // namespace zephyl::ai
