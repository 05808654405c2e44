#include "agents/agent_archive_extractor.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>

#include "agents/internal/contained_path.h"

namespace zephyl::agents {
namespace {

namespace fs = std::filesystem;
using Code = AgentArchiveError::Code;

struct ReadDeleter {
  void operator()(archive* reader) const { archive_read_free(reader); }
};
struct WriteDeleter {
  void operator()(archive* writer) const { archive_write_free(writer); }
};

std::string message(archive* handle) {
  const char* text = archive_error_string(handle);
  return text != nullptr ? text : "unknown libarchive error";
}

// libarchive's own guards stay on as a second line behind the checks here
// (not its absolute-path guard: entries are given absolute places below the
// destination, which is canonical so that no link lies on the way to it).
constexpr int kWriteFlags = ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_SECURE_SYMLINKS |
                            ARCHIVE_EXTRACT_SECURE_NODOTDOT | ARCHIVE_EXTRACT_NO_OVERWRITE;

std::string contained(std::string_view name, std::string_view what) {
  auto path = internal::containedRelativePath(name);
  if (!path) throw AgentArchiveError(Code::kUnsafeEntry, std::string(what) + " " + std::string(name));
  return *path;
}

// Points the entry at its place under `destination` and checks its kind; false
// for entries that carry nothing to write (the archive's own "./").
bool prepareEntry(archive_entry* entry, const std::string& destination) {
  const char* rawName = archive_entry_pathname(entry);
  const std::string name = rawName != nullptr ? rawName : "";
  if (name == "." || name == "./") return false;
  const std::string path = contained(name, "entry");

  const char* hardlink = archive_entry_hardlink(entry);
  if (hardlink != nullptr) {
    archive_entry_set_hardlink(entry, (destination + "/" + contained(hardlink, "hard link to")).c_str());
  } else {
    switch (archive_entry_filetype(entry)) {
      case AE_IFREG:
      case AE_IFDIR:
        break;
      case AE_IFLNK: {
        const char* target = archive_entry_symlink(entry);
        if (target == nullptr || !internal::containedLinkTarget(path, target)) {
          throw AgentArchiveError(Code::kUnsafeEntry, "link " + name + " -> " + (target ? target : ""));
        }
        break;
      }
      default:  // devices, FIFOs and sockets have no place in an agent build
        throw AgentArchiveError(Code::kUnsafeEntry, "special file " + name);
    }
  }
  archive_entry_set_pathname(entry, (destination + "/" + path).c_str());
  archive_entry_set_perm(entry, archive_entry_perm(entry) & 0755);
  return true;
}

// A link may pass the lexical check and still leave through another link
// ("a/b/up -> ../.." then "a/b/x -> up/.."); the disk has the final word.
void checkLinksOnDisk(const std::string& destination) {
  std::error_code error;
  const fs::path root = destination;
  for (auto it = fs::recursive_directory_iterator(root, error);
       !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
    if (!it->is_symlink()) continue;
    const fs::path resolved = fs::weakly_canonical(it->path(), error);
    if (error) throw AgentArchiveError(Code::kUnsafeEntry, "link " + it->path().string());
    const auto [rootEnd, resolvedAt] =
        std::mismatch(root.begin(), root.end(), resolved.begin(), resolved.end());
    if (rootEnd != root.end()) throw AgentArchiveError(Code::kUnsafeEntry, "link " + it->path().string());
  }
  if (error) throw AgentArchiveError(Code::kWriteFailed, "walk " + error.message());
}

void copyData(archive* reader, archive* writer, uint64_t& total, const AgentArchiveLimits& limits,
              const std::string& name) {
  const void* block = nullptr;
  size_t size = 0;
  la_int64_t offset = 0;
  while (true) {
    const int status = archive_read_data_block(reader, &block, &size, &offset);
    if (status == ARCHIVE_EOF) return;
    if (status < ARCHIVE_WARN) throw AgentArchiveError(Code::kUnreadable, name + ": " + message(reader));
    // Counted as inflated, not as the entry's header claims: headers can lie.
    total += size;
    if (total > limits.maximumExtractedBytes) throw AgentArchiveError(Code::kTooLarge, name);
    if (archive_write_data_block(writer, block, size, offset) < ARCHIVE_WARN) {
      throw AgentArchiveError(Code::kWriteFailed, name + ": " + message(writer));
    }
  }
}

}  // namespace

void extractAgentArchive(const std::string& archivePath, const std::string& folder,
                         const AgentArchiveLimits& limits) {
  std::error_code canonicalError;
  const std::string destination = fs::canonical(folder, canonicalError).string();
  if (canonicalError) throw AgentArchiveError(Code::kWriteFailed, "destination " + canonicalError.message());
  std::unique_ptr<archive, ReadDeleter> reader(archive_read_new());
  std::unique_ptr<archive, WriteDeleter> writer(archive_write_disk_new());
  if (!reader || !writer) throw AgentArchiveError(Code::kUnreadable, "libarchive could not start");
  archive_read_support_format_all(reader.get());
  archive_read_support_filter_all(reader.get());
  archive_write_disk_set_options(writer.get(), kWriteFlags);
  if (archive_read_open_filename(reader.get(), archivePath.c_str(), 64 * 1024) != ARCHIVE_OK) {
    throw AgentArchiveError(Code::kUnreadable, message(reader.get()));
  }

  uint64_t entries = 0;
  uint64_t total = 0;
  archive_entry* entry = nullptr;
  while (true) {
    const int status = archive_read_next_header(reader.get(), &entry);
    if (status == ARCHIVE_EOF) break;
    if (status < ARCHIVE_WARN) throw AgentArchiveError(Code::kUnreadable, message(reader.get()));
    if (++entries > limits.maximumEntries) throw AgentArchiveError(Code::kTooLarge, "too many entries");
    const std::string name = archive_entry_pathname(entry) ? archive_entry_pathname(entry) : "";
    if (!prepareEntry(entry, destination)) continue;
    if (archive_write_header(writer.get(), entry) < ARCHIVE_WARN) {
      throw AgentArchiveError(Code::kWriteFailed, name + ": " + message(writer.get()));
    }
    if (archive_entry_size(entry) > 0 || archive_entry_size_is_set(entry) == 0) {
      copyData(reader.get(), writer.get(), total, limits, name);
    }
    if (archive_write_finish_entry(writer.get()) < ARCHIVE_WARN) {
      throw AgentArchiveError(Code::kWriteFailed, name + ": " + message(writer.get()));
    }
  }
  if (archive_write_close(writer.get()) != ARCHIVE_OK) {
    throw AgentArchiveError(Code::kWriteFailed, message(writer.get()));
  }
  checkLinksOnDisk(destination);
}

}  // namespace zephyl::agents
