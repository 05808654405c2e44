// How a folder's place in the library is shown: "Account › Folder › Child".
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

namespace zephyl::notes_store {

inline constexpr std::string_view kFolderPathSeparator = " › ";

// "Account › Folder" from a note row's account and folder names, for a folder
// that the folder tree does not list (one past its cap); the account part is
// left out when it has no name.
std::string folderDisplayPath(std::string_view accountName, std::string_view folderName);

// The path that `folderPaths` (folder id → display path) gives `folderID`,
// else folderDisplayPath(accountName, folderName).
std::string folderDisplayPath(const std::unordered_map<std::string, std::string>& folderPaths,
                              const std::string& folderID, std::string_view accountName,
                              std::string_view folderName);

}  // namespace zephyl::notes_store
