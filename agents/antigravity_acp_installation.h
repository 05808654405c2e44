// The installed Antigravity agent, as its install record ".zephyl-install.json"
// in the install folder describes it. The record is written last into a fully
// checked folder, so a folder with a readable record is a complete install.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/file_system.h"

namespace zephyl::agents {

inline constexpr std::string_view kAntigravityACPInstallRecordName = ".zephyl-install.json";

struct AntigravityACPInstallation {
  std::string version;
  std::string command;  // the executable, relative to `directory`
  std::vector<std::string> arguments;
  std::string directory;  // not in the record: known from where the record lies

  // `directory` joined with `command`.
  std::string executablePath() const { return directory + "/" + command; }
};

// The record's JSON: {"version", "command", "arguments"}.
std::string antigravityACPInstallRecordJSON(const AntigravityACPInstallation& installation);

// The installation recorded in `directory`, or nullopt when the record is
// missing, unreadable or malformed (all of which mean: not installed).
std::optional<AntigravityACPInstallation> readAntigravityACPInstallation(core::FileSystem& files,
                                                                         const std::string& directory);

}  // namespace zephyl::agents
