// ChatTurnInput: the stored form of one user turn (request, skills, references,
// preferences), kept with its message so that a later turn replays exactly
// what was sent.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zephyl::assistant {

struct ChatTurnInput {
  // The order of the kinds is the order of the prompt's reference labels.
  enum class ReferenceKind {
    kNote,
    kSelection,
    kAttachment,
    kWebSearch,
    kWebFetch,
    kTranscript,
    kSkillDefinition
  };

  struct ReferenceBlock {
    ReferenceKind kind = ReferenceKind::kNote;
    std::optional<std::string> title;
    std::optional<std::string> detail;  // a folder path, a URL, a file name
    std::string content;

    bool operator==(const ReferenceBlock&) const = default;
  };

  struct SelectedSkill {
    std::string title;
    std::string instructions;

    bool operator==(const SelectedSkill&) const = default;
  };

  std::string request;
  std::vector<SelectedSkill> skills;
  std::vector<ReferenceBlock> references;
  std::optional<std::string> defaultPreferences;  // nullopt: the built-in text
  std::optional<std::string> customPreferences;

  bool operator==(const ChatTurnInput&) const = default;
};

}  // namespace zephyl::assistant
