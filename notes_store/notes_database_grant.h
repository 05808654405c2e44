// The user's grant of access to the Notes database location. On macOS it is a
// security-scoped bookmark of the group container folder (or of the file); on
// Linux a configured path stands in for it.
#pragma once

#include <optional>
#include <string>

namespace zephyl::notes_store {

class NotesDatabaseGrant {
 public:
  virtual ~NotesDatabaseGrant() = default;

  // The path the stored grant names (the folder or the database file), or nullopt
  // when no grant is stored. Throws when a stored grant cannot be resolved.
  virtual std::optional<std::string> resolveGrantedPath() = 0;

  // Starts access to a resolved path; true when access was started and must be
  // stopped with stopAccessing.
  virtual bool startAccessing(const std::string& path) = 0;
  virtual void stopAccessing(const std::string& path) = 0;
};

}  // namespace zephyl::notes_store
