// The texts of one assistant turn: the app's own instructions with today's
// date, the user text of headed sections (instructions, preferences, skills,
// history, untrusted references, the request), the environment block that
// carries the current note, and the paragraph that announces attachments.
// Every text here is sent to models as it is; changing a byte changes what
// every provider sees.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "assistant/ai_model_input.h"
#include "assistant/ai_note_context.h"
#include "assistant/chat_turn_input.h"

namespace zephyl::assistant {

// Used when the user has not replaced them.
inline constexpr std::string_view kDefaultPreferences =
    "- Respond in the language of the Current Request unless asked otherwise.\n"
    "- Use note context only when relevant. If the requested scope is implicit, follow its Focus field.\n"
    "- Be concise, direct, and practical. Do not repeat provided information unnecessarily.\n"
    "- Make reasonable low-risk assumptions; ask only when missing information blocks a useful answer.\n"
    "- Add structure only when it improves clarity.";

// A note cut to fit the request budget, and a cut made on the whole context.
inline constexpr std::string_view kNoteTruncatedMarker = "[Note truncated to fit context budget]";
inline constexpr std::string_view kContextTruncatedMarker = "[Context truncated by Zephyl.]";

// The app instructions for `date`, formatted "yyyy-MM-dd (EEEE)" in `locale`
// (an ICU locale id such as "en_US" or "de_DE"; empty: the process's locale)
// with the Gregorian calendar whatever the locale's own.
std::string composeSystemText(std::chrono::year_month_day date, const std::string& locale);

// The six sections of `input` in their fixed order, empty ones left out.
std::string composeUserText(const AIModelInput& input);

// A stored user turn as it is replayed among the earlier messages: its
// preferences, skills, wrapped references and request.
std::string composeReplayedTurn(const ChatTurnInput& turn);

// The current note as reference material: app, title, focus, and the fenced
// selection, current line and note text.
std::string composeEnvironmentBlock(const AINoteContext& context);

// Announces `noteImages` images of the current note and `uploads` files of the
// user, sent as separate inputs; nullopt when there are none.
std::optional<std::string> composeAttachmentParagraph(int noteImages, int uploads);

// "Note", "Selection", ...: the label of a reference header.
std::string_view referenceKindLabel(ChatTurnInput::ReferenceKind kind);

// The block under its "[UNTRUSTED REFERENCE DATA — ...]" header; nullopt when
// its content is blank.
std::optional<std::string> wrapReferenceBlock(const ChatTurnInput::ReferenceBlock& block);

// How many note reference blocks of a stored turn carry a truncation marker.
int countTruncatedNotes(const ChatTurnInput& turn);

}  // namespace zephyl::assistant
