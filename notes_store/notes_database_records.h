// The rows that the Notes database statements return, as plain records.
// Text columns that are NULL read as empty strings; times that are NULL read as
// nullopt (never the epoch); blobs are copied bytes, nullopt when NULL or empty.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/apple_time.h"

namespace zephyl::notes_store {

// A folder of the folder tree.
struct NotesFolderRow {
  std::string id;  // "x-coredata://<store>/ICFolder/p<key>"
  std::string title;
  std::string path;           // "Account › Folder › Child", no account part when it has no name
  std::string componentPath;  // length-prefixed components, see parseComponentPath
  std::optional<core::TimePoint> modifiedAt;
};

// A note of the note list.
struct NotesNoteRow {
  std::string id;    // "x-coredata://<store>/ICNote/p<key>"
  std::string uuid;  // ZIDENTIFIER
  std::string title;
  std::string folderID;
  std::string accountName;
  std::string folderName;
  std::string preview;
  std::optional<int64_t> noteDataPK;
  int64_t isPasswordProtected = 0;
  std::optional<core::TimePoint> createdAt;
  std::optional<core::TimePoint> modifiedAt;  // nullopt when the stored date is no valid time
};

// A note body blob from a body query. A blob stored longer than
// kMaxInflatedNoteBodyBytes is not fetched at all: `overLimit` is set, `bytes` empty.
struct NotesBodyBlob {
  std::string bytes;
  bool overLimit = false;
  bool operator==(const NotesBodyBlob&) const = default;
};

// One note looked up by key, with its body blob.
struct NotesNoteBodyRow {
  int64_t notePK = 0;
  std::string title;
  std::string preview;
  std::optional<std::string> bodyData;  // nullopt too when bodyOverLimit
  bool bodyOverLimit = false;           // stored past kMaxInflatedNoteBodyBytes, not fetched
};

// A table attachment of a note, with its two candidate mergeable-data blobs.
struct NotesTableDataRow {
  std::string identifier;
  std::optional<std::string> mergeableData1;
  std::optional<std::string> mergeableData;
};

// A note of a named top-level folder (templates, skills), with its body. A folder
// without notes gives one row whose note fields are empty.
struct NotesFolderNoteRow {
  std::string folderID;  // the folder's key as text
  std::string folderName;
  std::string accountName;
  std::string notePK;  // the note's key as text, empty for an empty folder
  std::string noteID;  // the note's URI, empty for an empty folder
  std::string title;
  std::optional<core::TimePoint> modifiedAt;
  std::string preview;
  std::optional<std::string> bodyData;
};

// The short form of NotesFolderNoteRow, used to tell whether a cached list is stale.
struct NotesFolderNoteSummaryRow {
  std::string folderID;
  std::string folderName;
  std::string accountName;
  std::string noteID;
  std::string title;
  std::optional<core::TimePoint> modifiedAt;
};

// An inline link attachment and the note it stands in (backlinks).
struct NotesLinkAttachmentRow {
  std::optional<int64_t> linkNoteKey;  // link.znote1
  std::string linkIdentifier;
  std::string tokenContentIdentifier;  // the target, e.g. "applenotes:note/<uuid>"
  std::optional<int64_t> sourceKey;
  std::string sourceIdentifier;
  std::string sourceTitle;
  std::string sourceLocation;  // "Account › Folder" or "Folder"
  int64_t sourceMarkedForDeletion = 0;
};

// A note that a link may point at (backlinks).
struct NotesLinkTargetRow {
  int64_t key = 0;
  std::string identifier;
  std::string title;
  std::string location;
  std::optional<std::string> userRecordName;  // only when exactly one account matched
};

// A live note's body, read to find links written as text (backlinks).
struct NotesCandidateBodyRow {
  int64_t key = 0;
  std::optional<std::string> bodyData;  // nullopt too when bodyOverLimit
  bool bodyOverLimit = false;           // stored past kMaxInflatedNoteBodyBytes, not fetched
};

}  // namespace zephyl::notes_store
