#include "notes_store/notes_object_identifier.h"

#include <charconv>

namespace zephyl::notes_store {
namespace {

constexpr std::string_view kScheme = "x-coredata://";
constexpr std::string_view kKeyPrefix = "p";

std::string_view entityName(NotesObjectKind kind) {
  switch (kind) {
    case NotesObjectKind::kNote:
      return "ICNote";
    case NotesObjectKind::kFolder:
      return "ICFolder";
  }
  return {};
}

}  // namespace

std::string NotesObjectIdentifier::format() const {
  std::string text(kScheme);
  text.append(store).append("/").append(entityName(kind)).append("/").append(kKeyPrefix);
  return text + std::to_string(key);
}

std::optional<NotesObjectIdentifier> NotesObjectIdentifier::parse(std::string_view text) {
  if (!text.starts_with(kScheme)) return std::nullopt;
  text.remove_prefix(kScheme.size());
  // The store is everything before the entity: a UUID holds no "/".
  const size_t storeEnd = text.find('/');
  if (storeEnd == std::string_view::npos) return std::nullopt;
  NotesObjectIdentifier identifier;
  identifier.store = std::string(text.substr(0, storeEnd));
  text.remove_prefix(storeEnd + 1);
  const size_t entityEnd = text.find('/');
  if (entityEnd == std::string_view::npos) return std::nullopt;
  const std::string_view entity = text.substr(0, entityEnd);
  if (entity == entityName(NotesObjectKind::kNote)) {
    identifier.kind = NotesObjectKind::kNote;
  } else if (entity == entityName(NotesObjectKind::kFolder)) {
    identifier.kind = NotesObjectKind::kFolder;
  } else {
    return std::nullopt;
  }
  text.remove_prefix(entityEnd + 1);
  if (!text.starts_with(kKeyPrefix) || text.size() == kKeyPrefix.size()) return std::nullopt;
  text.remove_prefix(kKeyPrefix.size());
  const char* end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, identifier.key);
  if (error != std::errc() || last != end) return std::nullopt;
  return identifier;
}

std::string NotesObjectIdentifier::sqlExpression(NotesObjectKind kind, std::string_view storeColumn,
                                                 std::string_view keyColumn) {
  std::string sql = "'";
  sql.append(kScheme).append("' || ").append(storeColumn).append(" || '/").append(entityName(kind));
  sql.append("/").append(kKeyPrefix).append("' || ").append(keyColumn);
  return sql;
}

std::optional<int64_t> notesObjectKey(std::string_view text) {
  const auto identifier = NotesObjectIdentifier::parse(text);
  if (!identifier) return std::nullopt;
  return identifier->key;
}

}  // namespace zephyl::notes_store
