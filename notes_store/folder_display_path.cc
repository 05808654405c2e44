#include "notes_store/folder_display_path.h"

namespace zephyl::notes_store {

std::string folderDisplayPath(std::string_view accountName, std::string_view folderName) {
  std::string path;
  if (!accountName.empty()) path.append(accountName).append(kFolderPathSeparator);
  return path.append(folderName);
}

std::string folderDisplayPath(const std::unordered_map<std::string, std::string>& folderPaths,
                              const std::string& folderID, std::string_view accountName,
                              std::string_view folderName) {
  const auto it = folderPaths.find(folderID);
  if (it != folderPaths.end()) return it->second;
  return folderDisplayPath(accountName, folderName);
}

}  // namespace zephyl::notes_store
