// The file operations the system needs, behind an interface so that logic can be
// tested on an in-memory file system and never touches the disk by accident.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/file_view.h"
#include "core/packed_strings.h"

namespace zephyl::core {

// What a file is at one moment, to tell later without reading it whether it
// changed (see FileSystem::fileVersion).
class FileVersion {
 public:
  virtual ~FileVersion() = default;
  // True when neither version's file was replaced or written between them.
  virtual bool sameAs(const FileVersion& other) const = 0;
};

// A folder of a listed tree, relative to the tree's top ("" for the top),
// with the names of its regular files.
struct FolderListing {
  std::string folder;
  // Packed: a folder of a large export holds tens of thousands of names.
  PackedStrings files;
};

// Implementations may be called from several threads at once (an export
// writes notes from two).
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // True when something (file or folder) exists at path.
  virtual bool fileExists(const std::string& path) = 0;

  // True when a folder exists at path.
  virtual bool isDirectory(const std::string& path) = 0;

  // The folder on the way to path that this process may not search, when that is
  // why nothing can be told about path (stat fails with EACCES); nullopt when
  // path exists, or is simply missing. Lets a caller say "cannot be read" rather
  // than "not found".
  virtual std::optional<std::string> unsearchableFolderOnPath(const std::string& path) = 0;

  // True when path itself is a symbolic link (not followed), whatever it points to.
  virtual bool isSymbolicLink(const std::string& path) = 0;

  // True when path itself is a regular file: not a folder, and not a symbolic
  // link, even to a file. One look where the three questions above take three.
  virtual bool isRegularFile(const std::string& path) {
    return fileExists(path) && !isDirectory(path) && !isSymbolicLink(path);
  }

  // The whole file, or nullopt when it does not exist. Throws FileSystemError
  // when it exists but cannot be read.
  virtual std::optional<std::string> readFile(const std::string& path) = 0;

  // The whole file as a read-only view, or null when it does not exist; throws
  // FileSystemError as readFile does. The view stays as it was read even when
  // the file is replaced afterwards (files here are replaced by rename, never
  // rewritten in place). By default the file is read into memory.
  virtual std::shared_ptr<const FileView> viewFile(const std::string& path) {
    auto contents = readFile(path);
    if (!contents) return nullptr;
    return std::make_shared<const StringFileView>(std::move(*contents));
  }

  // Replaces the file in one step (a temporary file in the same folder, then a
  // rename), creating missing parent folders: a crash never leaves half a file.
  // Throws FileSystemError.
  virtual void writeFileAtomically(const std::string& path, const std::string& contents) = 0;

  // As writeFileAtomically, with the contents given in pieces: a large file
  // made mostly of text already held elsewhere is written without first
  // copying it into one string.
  virtual void writePiecesAtomically(const std::string& path, const std::vector<std::string_view>& pieces) {
    std::string contents;
    for (std::string_view piece : pieces) contents += piece;
    writeFileAtomically(path, contents);
  }
  // Hands the pieces of a file, in order, to the function it is given.
  using FileWriter = std::function<void(const std::function<void(std::string_view)>& piece)>;

  // As writeFileAtomically, with the contents made as they are written: a file
  // of tens of megabytes made on the fly need not be held whole.
  virtual void writeStreamAtomically(const std::string& path, const FileWriter& writer) {
    std::string contents;
    writer([&](std::string_view piece) { contents += piece; });
    writeFileAtomically(path, contents);
  }

  // The file as it is now, or null when it does not exist or this file
  // system cannot tell versions apart (callers then read the file). While a
  // version is held, no other file can take its identity, so a file replaced
  // since never compares the same.
  virtual std::unique_ptr<FileVersion> fileVersion(const std::string&) { return nullptr; }

  // As writeFileAtomically, without waiting for the disk: a crash of the program
  // never leaves half a file, a power cut may lose the newest contents. For bulk
  // output that can be written again, where a flush per file costs minutes.
  virtual void replaceFile(const std::string& path, const std::string& contents) = 0;

  // As replaceFile, with the contents in pieces, and never over a symbolic
  // link: false, with nothing written, when path is one. A new file costs no
  // look of its own before the write.
  virtual bool replaceFileUnlessLink(const std::string& path, const std::vector<std::string_view>& pieces) {
    if (isSymbolicLink(path)) return false;
    std::string contents;
    for (std::string_view piece : pieces) contents += piece;
    replaceFile(path, contents);
    return true;
  }

  // Removes a file; nothing happens when it does not exist. Throws FileSystemError.
  virtual void removeFile(const std::string& path) = 0;

  // The names in a folder (no "." or ".."), unordered; empty when it does not exist.
  // Throws FileSystemError when it exists but cannot be listed.
  virtual std::vector<std::string> listDirectory(const std::string& path) = 0;

  // The names in a folder that are regular files (see isRegularFile),
  // unordered; empty when it does not exist. Where the file system can, one
  // pass over the folder instead of a look at each name. Throws
  // FileSystemError when it exists but cannot be listed.
  virtual std::vector<std::string> listRegularFiles(const std::string& path) {
    std::vector<std::string> files;
    for (std::string& name : listDirectory(path)) {
      if (isRegularFile(path + "/" + name)) files.push_back(std::move(name));
    }
    return files;
  }

  // Calls `visit` with every folder of the tree at `directory`, itself
  // included (symbolic links not followed), and its regular files: one pass
  // over the tree, a folder at a time, so that a large tree's listing is never
  // held whole. None when `directory` does not exist. Throws FileSystemError
  // when a folder cannot be listed.
  void forEachFolderBelow(const std::string& directory, const std::function<void(FolderListing&)>& visit);

  // True for the name of a temporary file that a write of a process no longer
  // running left behind (after kill -9 or a power cut). Where writes are never
  // left half done, none is.
  virtual bool isStaleTemporaryFile(std::string_view) { return false; }

  // Removes, in `directory` and its subfolders (symbolic links not followed),
  // the stale temporary files (see isStaleTemporaryFile). Throws FileSystemError.
  void removeStaleTemporaryFiles(const std::string& directory);

 protected:
  // Adds the names of a folder's regular files and of its subfolders (not
  // symbolic links) to `files` and `folders`.
  virtual void listFolder(const std::string& path, PackedStrings& files, std::vector<std::string>& folders);
};

}  // namespace zephyl::core
