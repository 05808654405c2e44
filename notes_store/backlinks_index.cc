#include "notes_store/backlinks_index.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

#include "core/logger.h"
#include "notes_store/note_body_decoder.h"
#include "notes_store/note_markdown.h"
#include "notes_store/notes_database_access.h"

namespace zephyl::notes_store {
namespace {

constexpr core::Logger kLog("BacklinksIndex");

std::string lowerAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return out;
}

bool startsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && lowerAscii(text.substr(0, prefix.size())) == prefix;
}

// Runs `read` in one read transaction, so that everything it reads sees one
// state of the library.
void inReadTransaction(NotesDatabaseConnection& connection, const std::function<void()>& read) {
  NotesDatabaseAccess::executeStatement(connection, "BEGIN DEFERRED");
  try {
    read();
    NotesDatabaseAccess::executeStatement(connection, "COMMIT");
  } catch (...) {
    try {
      NotesDatabaseAccess::executeStatement(connection, "ROLLBACK");
    } catch (const std::exception& e) {
      // The first failure is the one worth reporting.
      kLog.warning() << "Rollback failed: " << e.what();
    }
    throw;
  }
}

}  // namespace

std::optional<std::string> noteLinkTargetIdentifier(std::string_view link) {
  if (!startsWithIgnoringCase(link, kNoteLinkPrefix)) return std::nullopt;
  std::string_view identifier = link.substr(kNoteLinkPrefix.size());
  identifier = identifier.substr(0, identifier.find_first_of("?#/"));
  if (identifier.empty()) return std::nullopt;
  return lowerAscii(identifier);
}

BacklinksIndex BacklinksIndex::build(NotesDatabaseConnection& connection) {
  BacklinksIndex index;
  std::set<std::pair<int64_t, int64_t>> seen;  // (target, source)
  auto add = [&](int64_t targetKey, NoteBacklink backlink) {
    if (targetKey == backlink.sourceKey || !seen.emplace(targetKey, backlink.sourceKey).second) return;
    index.backlinks_[targetKey].push_back(std::move(backlink));
  };
  auto targetOf = [&](std::string_view link) -> std::optional<int64_t> {
    const auto identifier = noteLinkTargetIdentifier(link);
    if (!identifier) return std::nullopt;
    return index.noteKeyForIdentifier(*identifier);
  };
  inReadTransaction(connection, [&] {
    const std::vector<NotesLinkTargetRow> targets = NotesDatabaseAccess::fetchLinkTargets(connection);
    std::unordered_map<int64_t, const NotesLinkTargetRow*> targetByKey;
    for (const auto& target : targets) {
      index.keyByIdentifier_.emplace(lowerAscii(target.identifier), target.key);
      targetByKey.emplace(target.key, &target);
    }
    for (const auto& link : NotesDatabaseAccess::fetchLinkAttachments(connection)) {
      if (!link.sourceKey || link.sourceMarkedForDeletion == 1) continue;
      const auto target = targetOf(link.tokenContentIdentifier);
      if (!target) continue;
      add(*target, {*link.sourceKey, link.sourceIdentifier, link.sourceTitle, link.sourceLocation});
    }
    // Row by row: only one body is in memory at a time, whatever the library holds.
    NotesDatabaseAccess::forEachCandidateBody(connection, [&](NotesCandidateBodyRow body) {
      const auto source = targetByKey.find(body.key);
      if (source == targetByKey.end()) return;
      if (body.bodyOverLimit) {
        index.overLimitNoteKeys_.push_back(body.key);
        return;
      }
      if (!body.bodyData) return;
      const auto parsed = decodeNoteBody(*body.bodyData, body.key);
      if (parsed.overLimit) index.overLimitNoteKeys_.push_back(body.key);
      const auto* candidate = parsed.firstWithText();
      if (candidate == nullptr) return;
      for (const auto& link : candidate->links) {
        const auto target = targetOf(link);
        if (!target) continue;
        const NotesLinkTargetRow& row = *source->second;
        add(*target, {row.key, row.identifier, row.title, row.location});
      }
    });
  });
  for (auto& [target, backlinks] : index.backlinks_) {
    std::sort(backlinks.begin(), backlinks.end(), [](const NoteBacklink& a, const NoteBacklink& b) {
      return std::tie(a.sourceTitle, a.sourceKey) < std::tie(b.sourceTitle, b.sourceKey);
    });
  }
  kLog.debug() << "Indexed " << index.linkCount() << " backlinks";
  return index;
}

const std::vector<NoteBacklink>& BacklinksIndex::backlinksTo(int64_t targetKey) const {
  static const std::vector<NoteBacklink> kNone;
  const auto it = backlinks_.find(targetKey);
  return it == backlinks_.end() ? kNone : it->second;
}

std::optional<int64_t> BacklinksIndex::noteKeyForIdentifier(std::string_view identifier) const {
  const auto it = keyByIdentifier_.find(lowerAscii(identifier));
  if (it == keyByIdentifier_.end()) return std::nullopt;
  return it->second;
}

size_t BacklinksIndex::linkCount() const {
  size_t count = 0;
  for (const auto& [target, backlinks] : backlinks_) count += backlinks.size();
  return count;
}

}  // namespace zephyl::notes_store
