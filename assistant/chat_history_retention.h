// ChatHistoryRetention: how long conversations are kept, the setting
// `chatHistoryRetentionDays` as a number of days: 7, 30, or 0 for ever. Any
// other number is invalid and reads as the default, keeping everything: an
// unreadable setting must never delete anyone's history.
//
// A session expires when its last activity (its newest message, else its
// creation) lies more than the retention before now, so a long conversation in
// use is not cut off for having started long ago.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "assistant/chat_session.h"
#include "core/settings_store.h"

namespace zephyl::assistant {

enum class ChatHistoryRetention { kSevenDays, kThirtyDays, kNever };

inline constexpr std::string_view kChatHistoryRetentionDaysKey = "chatHistoryRetentionDays";
inline constexpr ChatHistoryRetention kDefaultChatHistoryRetention = ChatHistoryRetention::kNever;

// The retention stored as `days`; nullopt for an invalid number.
std::optional<ChatHistoryRetention> chatHistoryRetentionFromDays(int64_t days);
int64_t days(ChatHistoryRetention retention);

// The setting, or the default when it is absent or invalid.
ChatHistoryRetention chatHistoryRetention(core::SettingsStore& settings);

// The ids of the sessions that `retention` lets expire at `now`, in order.
std::vector<std::string> expiredChatSessionIDs(const std::vector<ChatSession>& sessions,
                                               ChatHistoryRetention retention, core::TimePoint now);

}  // namespace zephyl::assistant
