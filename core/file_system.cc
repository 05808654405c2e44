#include "core/file_system.h"

namespace zephyl::core {

void FileSystem::forEachFolderBelow(const std::string& directory,
                                    const std::function<void(FolderListing&)>& visit) {
  if (!isDirectory(directory) || isSymbolicLink(directory)) return;
  std::vector<std::string> pending{""};
  std::vector<std::string> folders;
  while (!pending.empty()) {
    FolderListing listing{std::move(pending.back()), {}};
    pending.pop_back();
    folders.clear();
    listFolder(listing.folder.empty() ? directory : directory + "/" + listing.folder, listing.files, folders);
    for (const std::string& name : folders)
      pending.push_back(listing.folder.empty() ? name : listing.folder + "/" + name);
    visit(listing);
  }
}

void FileSystem::listFolder(const std::string& path, PackedStrings& files,
                            std::vector<std::string>& folders) {
  for (std::string& name : listDirectory(path)) {
    const std::string full = path + "/" + name;
    if (isRegularFile(full)) {
      files.push_back(name);
    } else if (isDirectory(full) && !isSymbolicLink(full)) {
      folders.push_back(std::move(name));
    }
  }
}

void FileSystem::removeStaleTemporaryFiles(const std::string& directory) {
  forEachFolderBelow(directory, [&](const FolderListing& listing) {
    for (const std::string_view name : listing.files) {
      if (!isStaleTemporaryFile(name)) continue;
      removeFile(directory + "/" + (listing.folder.empty() ? "" : listing.folder + "/") + std::string(name));
    }
  });
}

}  // namespace zephyl::core
