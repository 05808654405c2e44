#include "ai/oauth_account_access_source.h"

#include "ai/oauth_error.h"

namespace zephyl::ai {
namespace {

AIAccountAccess accessFrom(const OAuthAccessToken& token) {
  AIAccountAccess access{token.token, std::nullopt};
  if (!token.accountID.empty()) access.accountID = token.accountID;
  return access;
}

}  // namespace

std::optional<AIAccountAccess> OAuthAccountAccessSource::currentAccess(std::stop_token stop) {
  try {
    return accessFrom(coordinator_.accessToken(std::move(stop)));
  } catch (const OAuthError& error) {
    // No stored tokens is "not signed in", which the adapter words itself.
    if (error.code() == OAuthError::Code::kNotSignedIn) return std::nullopt;
    throw;
  }
}

std::optional<AIAccountAccess> OAuthAccountAccessSource::refreshAfterUnauthorized(
    const AIAccountAccess& rejected, std::stop_token stop) {
  try {
    return accessFrom(coordinator_.refreshAfterUnauthorized(rejected.accessToken, std::move(stop)));
  } catch (const OAuthError& error) {
    // Signed out meanwhile. A refused refresh travels on: its "sign in again"
    // says more than the adapter's own words could.
    if (error.code() == OAuthError::Code::kNotSignedIn) return std::nullopt;
    throw;
  }
}

}  // namespace zephyl::ai
