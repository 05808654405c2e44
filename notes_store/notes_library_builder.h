// Writes synthetic Apple Notes libraries: a NoteStore.sqlite with the schema that
// real libraries have, filled with the accounts, folders, notes, attachments and
// bodies a caller adds. Tests build their fixtures with it, and the sample library
// (demo and benchmarks) is generated through it.
//
// The written file is a new database; the builder never opens an existing library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/error.h"

namespace zephyl::notes_store {

class NotesLibraryBuilderError : public core::Error {
 public:
  enum class Code { kFileExists, kWriteFailed };
  NotesLibraryBuilderError(Code code, std::string detail);
  static std::string_view text(Code code);
  Code code() const { return code_; }
  const std::string& detail() const { return detail_; }

 private:
  Code code_;
  std::string detail_;
};

// Which columns and tables the written schema has, so that libraries of older
// Notes versions (no ZACCOUNT7 on macOS 12 and iOS 15) and damaged ones can be made.
struct NotesSchemaOptions {
  bool hasAccount7Column = true;
  bool hasNoteDataTable = true;
  bool hasTypeUtiColumn = true;
  bool hasTypeUti1Column = true;
};

struct NotesAccountSpec {
  std::string name{};
  std::string userRecordName{};  // empty: NULL
  std::string identifier{};      // empty: generated UUID
};

struct NotesFolderSpec {
  std::optional<std::string> title{};  // ZTITLE2; nullopt writes NULL
  std::optional<int64_t> parent{};     // ZPARENT
  std::optional<int64_t> owner{};      // ZOWNER: the account, as Notes links folders
  std::optional<int64_t> account4{};   // ZACCOUNT4
  std::optional<int64_t> account7{};   // ZACCOUNT7 (ignored when the schema lacks it)
  int folderType = 0;                  // 1: the trash
  std::optional<int64_t> markedForDeletion = 0;
  std::optional<double> modifiedAt{};  // seconds since 2001-01-01
  std::string identifier{};            // empty: generated UUID
};

struct NotesNoteSpec {
  std::optional<std::string> title{};    // ZTITLE1
  std::string identifier{};              // ZIDENTIFIER; empty: generated UUID
  int64_t folder = 0;                    // ZFOLDER
  std::optional<int64_t> account4{};     // ZACCOUNT4
  std::optional<int64_t> account7{};     // ZACCOUNT7 (ignored when the schema lacks it)
  std::optional<std::string> snippet{};  // ZSNIPPET
  std::optional<int64_t> markedForDeletion = 0;
  bool passwordProtected = false;
  std::optional<double> createdAt{};   // ZCREATIONDATE3
  std::optional<double> modifiedAt{};  // ZMODIFICATIONDATE1
  // The ZICNOTEDATA.ZDATA blob exactly as stored (usually gzip). nullopt: the note
  // has no note-data row (ZNOTEDATA NULL); an empty string: a row whose ZDATA is NULL.
  std::optional<std::string> bodyData{};
};

struct NotesAttachmentSpec {
  int64_t note = 0;                             // ZNOTE: the note the attachment belongs to
  std::string identifier{};                     // ZIDENTIFIER; empty: generated UUID
  std::string typeUTI{};                        // written to ZTYPEUTI (or ZTYPEUTI1 without it)
  std::optional<std::string> mergeableData1{};  // ZMERGEABLEDATA1 blob
  std::optional<std::string> mergeableData{};   // ZMERGEABLEDATA blob
  std::optional<int64_t> markedForDeletion = 0;
};

// An inline link attachment: the link in `sourceNote` that points at `target`.
struct NotesLinkSpec {
  int64_t sourceNote = 0;                // ZNOTE1
  std::string identifier{};              // ZIDENTIFIER; empty: generated UUID
  std::string tokenContentIdentifier{};  // ZTOKENCONTENTIDENTIFIER, e.g. "applenotes:note/<uuid>"
  std::optional<int64_t> markedForDeletion = 0;
  bool useTypeUti1 = false;  // write the type into ZTYPEUTI1 instead of ZTYPEUTI
};

class NotesLibraryBuilder {
 public:
  explicit NotesLibraryBuilder(NotesSchemaOptions schema = {},
                               std::string storeUUID = "7A0D3C4E-5B1F-4E2A-9C3D-2B6E8F1A0C5D");

  // Each returns the Z_PK of the new row. Keys are given in call order.
  int64_t addAccount(const NotesAccountSpec& account);
  int64_t addFolder(const NotesFolderSpec& folder);
  int64_t addNote(const NotesNoteSpec& note);
  int64_t addAttachment(const NotesAttachmentSpec& attachment);
  int64_t addLink(const NotesLinkSpec& link);

  // Writes the library to `path` (which must not exist yet) in one transaction.
  // Throws NotesLibraryBuilderError.
  void write(const std::string& path) const;

  const std::string& storeUUID() const { return storeUUID_; }

 private:
  // One ZICCLOUDSYNCINGOBJECT row as it was added, its identifier filled in; its
  // Z_PK is its position plus one.
  using Row =
      std::variant<NotesAccountSpec, NotesFolderSpec, NotesNoteSpec, NotesAttachmentSpec, NotesLinkSpec>;

  int64_t addRow(Row row);

  NotesSchemaOptions schema_;
  std::string storeUUID_;
  std::vector<Row> rows_;
};

}  // namespace zephyl::notes_store
