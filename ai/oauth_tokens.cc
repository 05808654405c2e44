#include "ai/oauth_tokens.h"

#include <cstdio>

#include "ai/oauth_error.h"
#include "core/base64.h"

namespace zephyl::ai {
namespace {

std::string stringMember(const core::JSONValue& object, std::string_view key) {
  const auto* value = object.find(key);
  return value && value->string() ? *value->string() : std::string();
}

// "2026-11-14T09:30:00Z" only: the form serializeOAuthTokens writes.
std::optional<core::TimePoint> parseUTCSeconds(const std::string& text) {
  int year, month, day, hour, minute, second;
  char zone = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%c", &year, &month, &day, &hour, &minute, &second,
                  &zone) != 7 ||
      zone != 'Z') {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  return core::TimePoint(std::chrono::sys_days(date)) + std::chrono::hours(hour) +
         std::chrono::minutes(minute) + std::chrono::seconds(second);
}

}  // namespace

std::string serializeOAuthTokens(const OAuthTokens& tokens) {
  core::JSONValue record(core::JSONValue::Object{});
  record.set("accessToken", tokens.accessToken);
  record.set("refreshToken", tokens.refreshToken);
  record.set("idToken", tokens.idToken);
  record.set("expiresAt", tokens.expiresAt
                              ? core::JSONValue(core::formatIso8601(core::TimePoint(
                                    std::chrono::floor<std::chrono::seconds>(*tokens.expiresAt))))
                              : core::JSONValue());
  record.set("accountID", tokens.accountID);
  record.set("tokenURL", tokens.tokenURL);
  record.set("clientID", tokens.clientID);
  return record.serialized();
}

std::optional<OAuthTokens> parseOAuthTokens(std::string_view text) {
  core::JSONValue record;
  try {
    record = core::JSONValue::parse(text);
  } catch (const core::Error&) {
    return std::nullopt;
  }
  OAuthTokens tokens;
  tokens.accessToken = stringMember(record, "accessToken");
  if (tokens.accessToken.empty()) return std::nullopt;
  tokens.refreshToken = stringMember(record, "refreshToken");
  tokens.idToken = stringMember(record, "idToken");
  tokens.accountID = stringMember(record, "accountID");
  tokens.tokenURL = stringMember(record, "tokenURL");
  tokens.clientID = stringMember(record, "clientID");
  tokens.expiresAt = parseUTCSeconds(stringMember(record, "expiresAt"));
  return tokens;
}

std::optional<core::JSONValue> jwtPayload(std::string_view token) {
  const size_t first = token.find('.');
  if (first == std::string_view::npos) return std::nullopt;
  const size_t second = token.find('.', first + 1);
  if (second == std::string_view::npos || token.find('.', second + 1) != std::string_view::npos)
    return std::nullopt;
  const auto payload =
      core::base64Decode(token.substr(first + 1, second - first - 1), core::Base64Alphabet::kURL);
  if (!payload) return std::nullopt;
  try {
    auto claims = core::JSONValue::parse(*payload);
    if (!claims.object()) return std::nullopt;
    return claims;
  } catch (const core::Error&) {
    return std::nullopt;
  }
}

std::optional<std::string> chatGPTAccountID(std::string_view idToken) {
  const auto claims = jwtPayload(idToken);
  if (!claims) return std::nullopt;
  const auto* auth = claims->find("https://api.openai.com/auth");
  if (!auth) return std::nullopt;
  std::string id = stringMember(*auth, "chatgpt_account_id");
  if (id.empty()) return std::nullopt;
  return id;
}

OAuthTokens tokensFromResponse(const core::JSONValue& body, core::TimePoint now, const OAuthTokens* previous,
                               bool requireIDToken) {
  OAuthTokens tokens;
  if (previous) tokens = *previous;
  tokens.accessToken = stringMember(body, "access_token");
  if (tokens.accessToken.empty()) throw OAuthError(OAuthError::Code::kInvalidResponse, "(no access token)");
  if (auto refresh = stringMember(body, "refresh_token"); !refresh.empty())
    tokens.refreshToken = std::move(refresh);
  if (auto id = stringMember(body, "id_token"); !id.empty()) {
    if (auto account = chatGPTAccountID(id)) tokens.accountID = std::move(*account);
    tokens.idToken = std::move(id);
  }
  if (requireIDToken && tokens.idToken.empty())
    throw OAuthError(OAuthError::Code::kInvalidResponse, "(no id token)");

  tokens.expiresAt.reset();
  if (const auto* expiresIn = body.find("expires_in");
      expiresIn && expiresIn->number() && *expiresIn->number() > 0) {
    tokens.expiresAt = now + std::chrono::seconds(static_cast<int64_t>(*expiresIn->number()));
  } else if (auto claims = jwtPayload(tokens.accessToken)) {
    if (const auto* exp = claims->find("exp"); exp && exp->integer()) {
      tokens.expiresAt = core::TimePoint(std::chrono::seconds(*exp->integer()));
    }
  }
  return tokens;
}

bool needsRefresh(const OAuthTokens& tokens, core::TimePoint now, std::chrono::seconds margin) {
  return tokens.expiresAt && *tokens.expiresAt - margin <= now;
}

}  // namespace zephyl::ai
