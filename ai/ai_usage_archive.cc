#include "ai/ai_usage_archive.h"

#include <algorithm>
#include <unordered_set>

#include "core/enum_names.h"

namespace zephyl::ai {
namespace {

using core::JSONValue;
using core::JSONValueError;

constexpr core::EnumNames<AIUsageRequestKind, 4> kKindNames({{
    {AIUsageRequestKind::kRequest, "request"},
    {AIUsageRequestKind::kChat, "chat"},
    {AIUsageRequestKind::kInline, "inline"},
    {AIUsageRequestKind::kTitle, "title"},
}});

[[noreturn]] void malformed(std::string_view what) {
  throw JSONValueError(JSONValueError::Code::kMalformedJSON, "usage archive: " + std::string(what));
}

const JSONValue& member(const JSONValue& object, std::string_view key) {
  const JSONValue* value = object.find(key);
  if (value == nullptr) malformed(std::string(key) + " missing");
  return *value;
}

std::string stringMember(const JSONValue& object, std::string_view key) {
  const std::string* text = member(object, key).string();
  if (text == nullptr) malformed(std::string(key) + " is not a string");
  return *text;
}

int64_t integerMember(const JSONValue& object, std::string_view key) {
  const auto number = member(object, key).integer();
  if (!number) malformed(std::string(key) + " is not an integer");
  return *number;
}

AIUsageBucket bucketFromJSON(const JSONValue& value) {
  AIUsageBucket bucket;
  bucket.day = stringMember(value, "day");
  const auto provider = aiProviderFromRawValue(stringMember(value, "provider"));
  if (!provider) malformed("unknown provider");
  bucket.provider = *provider;
  bucket.model = stringMember(value, "model");
  const auto kind = kKindNames.value(stringMember(value, "kind"));
  if (!kind) malformed("unknown kind");
  bucket.kind = *kind;
  if (const JSONValue* effort = value.find("reasoningEffort"); effort != nullptr && !effort->isNull()) {
    if (effort->string() == nullptr) malformed("reasoningEffort is not a string");
    // An effort of a newer version reads as none, like a stored choice does.
    bucket.reasoningEffort = reasoningEffortFromRawValue(*effort->string());
  }
  bucket.reportedTokens = integerMember(value, "reportedTokens");
  bucket.inputTokens = integerMember(value, "inputTokens");
  bucket.cachedInputTokens = integerMember(value, "cachedInputTokens");
  bucket.outputTokens = integerMember(value, "outputTokens");
  bucket.reasoningTokens = integerMember(value, "reasoningTokens");
  bucket.requests = integerMember(value, "requests");
  bucket.requestsWithReportedUsage = integerMember(value, "requestsWithReportedUsage");
  bucket.longestDurationMilliseconds = integerMember(value, "longestDurationMilliseconds");
  return bucket;
}

}  // namespace

JSONValue AIUsageBucket::toJSON() const {
  const AIUsageBucket& bucket = *this;
  JSONValue::Object object{
      {"day", bucket.day},
      {"provider", rawValue(bucket.provider)},
      {"model", bucket.model},
      {"kind", kKindNames.name(bucket.kind)},
  };
  if (bucket.reasoningEffort) object.emplace_back("reasoningEffort", rawValue(*bucket.reasoningEffort));
  object.emplace_back("reportedTokens", bucket.reportedTokens);
  object.emplace_back("inputTokens", bucket.inputTokens);
  object.emplace_back("cachedInputTokens", bucket.cachedInputTokens);
  object.emplace_back("outputTokens", bucket.outputTokens);
  object.emplace_back("reasoningTokens", bucket.reasoningTokens);
  object.emplace_back("requests", bucket.requests);
  object.emplace_back("requestsWithReportedUsage", bucket.requestsWithReportedUsage);
  object.emplace_back("longestDurationMilliseconds", bucket.longestDurationMilliseconds);
  return object;
}

std::string_view rawValue(AIUsageRequestKind kind) { return kKindNames.name(kind); }

std::optional<AIUsageRequestKind> aiUsageRequestKindFromRawValue(std::string_view text) {
  return kKindNames.value(text);
}

AIUsageRequestKind usageKindOfPerformanceKind(std::string_view performanceKind) {
  if (performanceKind == "assistant") return AIUsageRequestKind::kChat;
  if (performanceKind == "inlineAI") return AIUsageRequestKind::kInline;
  if (performanceKind == "chatTitle") return AIUsageRequestKind::kTitle;
  return kKindNames.value(performanceKind).value_or(AIUsageRequestKind::kRequest);
}

std::string AIUsageBucket::identity() const {
  std::string result = day;
  for (std::string_view part : {rawValue(provider), std::string_view(model), rawValue(kind),
                                reasoningEffort ? rawValue(*reasoningEffort) : std::string_view()}) {
    result += '|';
    result += part;
  }
  return result;
}

JSONValue AIUsageArchive::toJSON() const {
  JSONValue::Array bucketValues;
  bucketValues.reserve(buckets.size());
  for (const auto& bucket : buckets) bucketValues.push_back(bucket.toJSON());
  JSONValue::Array ids(seenResponseIDs.begin(), seenResponseIDs.end());
  return JSONValue::Object{
      {"schemaVersion", schemaVersion},
      {"trackingBeganAt", core::formatIso8601(trackingBeganAt)},
      {"buckets", std::move(bucketValues)},
      {"seenResponseIDs", std::move(ids)},
  };
}

std::string AIUsageArchive::serialized() const {
  std::string out;
  out.reserve(200 * buckets.size() + 24 * seenResponseIDs.size() + 100);
  const auto field = [&out](std::string_view key, int64_t number) {
    out += ",\"";
    out += key;
    out += "\":";
    out += std::to_string(number);
  };
  out += "{\"schemaVersion\":" + std::to_string(schemaVersion) + ",\"trackingBeganAt\":";
  core::appendJSONString(core::formatIso8601(trackingBeganAt), out);
  out += ",\"buckets\":[";
  for (size_t i = 0; i < buckets.size(); ++i) {
    const AIUsageBucket& bucket = buckets[i];
    out += i == 0 ? "{\"day\":" : ",{\"day\":";
    core::appendJSONString(bucket.day, out);
    out += ",\"provider\":";
    core::appendJSONString(rawValue(bucket.provider), out);
    out += ",\"model\":";
    core::appendJSONString(bucket.model, out);
    out += ",\"kind\":";
    core::appendJSONString(kKindNames.name(bucket.kind), out);
    if (bucket.reasoningEffort) {
      out += ",\"reasoningEffort\":";
      core::appendJSONString(rawValue(*bucket.reasoningEffort), out);
    }
    field("reportedTokens", bucket.reportedTokens);
    field("inputTokens", bucket.inputTokens);
    field("cachedInputTokens", bucket.cachedInputTokens);
    field("outputTokens", bucket.outputTokens);
    field("reasoningTokens", bucket.reasoningTokens);
    field("requests", bucket.requests);
    field("requestsWithReportedUsage", bucket.requestsWithReportedUsage);
    field("longestDurationMilliseconds", bucket.longestDurationMilliseconds);
    out += '}';
  }
  out += "],\"seenResponseIDs\":[";
  for (size_t i = 0; i < seenResponseIDs.size(); ++i) {
    if (i > 0) out += ',';
    core::appendJSONString(seenResponseIDs[i], out);
  }
  out += "]}";
  return out;
}

AIUsageArchive AIUsageArchive::fromJSON(const JSONValue& value) {
  if (value.object() == nullptr) malformed("not an object");
  AIUsageArchive archive;
  archive.schemaVersion = integerMember(value, "schemaVersion");
  if (archive.schemaVersion < 1 || archive.schemaVersion > kSchemaVersion)
    malformed("unknown schema version");
  const auto began = core::parseIso8601(stringMember(value, "trackingBeganAt"));
  if (!began) malformed("trackingBeganAt is not a date");
  archive.trackingBeganAt = *began;
  const auto* buckets = member(value, "buckets").array();
  if (buckets == nullptr) malformed("buckets is not a list");
  archive.buckets.reserve(buckets->size());
  for (const auto& bucket : *buckets) archive.buckets.push_back(bucketFromJSON(bucket));
  const auto* ids = member(value, "seenResponseIDs").array();
  if (ids == nullptr) malformed("seenResponseIDs is not a list");
  archive.seenResponseIDs.reserve(ids->size());
  for (const auto& id : *ids) {
    if (id.string() == nullptr) malformed("a response id is not a string");
    archive.seenResponseIDs.push_back(*id.string());
  }
  return archive;
}

int64_t durationMilliseconds(std::chrono::steady_clock::duration duration) {
  const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
  return std::max<int64_t>(millis, 0);
}

void addUsageRecord(AIUsageArchive& archive, const AIUsageRecord& record, std::string_view day) {
  AIUsageBucket key;
  key.day = std::string(day);
  key.provider = record.provider;
  key.model = record.model;
  key.kind = record.kind;
  key.reasoningEffort = record.reasoningEffort;
  // Field by field rather than by identity string: ten thousand buckets of
  // several years are searched on every record.
  auto bucket =
      std::find_if(archive.buckets.begin(), archive.buckets.end(), [&](const AIUsageBucket& candidate) {
        return candidate.day == key.day && candidate.provider == key.provider &&
               candidate.model == key.model && candidate.kind == key.kind &&
               candidate.reasoningEffort == key.reasoningEffort;
      });
  if (bucket == archive.buckets.end()) {
    archive.buckets.push_back(std::move(key));
    bucket = archive.buckets.end() - 1;
  }

  std::unordered_set<std::string_view> seen(archive.seenResponseIDs.begin(), archive.seenResponseIDs.end());
  std::vector<std::string> added;
  added.reserve(record.reports.size());  // `seen` points into it
  bool counted = false;
  for (const auto& report : record.reports) {
    if (report.responseID) {
      if (seen.contains(*report.responseID)) continue;
      added.push_back(*report.responseID);
      seen.insert(added.back());
    }
    const AIReportedUsage& usage = report.usage;
    bucket->reportedTokens +=
        usage.totalTokens.value_or(usage.inputTokens.value_or(0) + usage.outputTokens.value_or(0));
    bucket->inputTokens += usage.inputTokens.value_or(0);
    bucket->cachedInputTokens += usage.cachedInputTokens.value_or(0);
    bucket->outputTokens += usage.outputTokens.value_or(0);
    bucket->reasoningTokens += usage.reasoningTokens.value_or(0);
    counted = true;
  }
  bucket->requests += 1;
  if (counted) bucket->requestsWithReportedUsage += 1;
  bucket->longestDurationMilliseconds =
      std::max(bucket->longestDurationMilliseconds, durationMilliseconds(record.duration));

  auto& ids = archive.seenResponseIDs;
  ids.insert(ids.end(), std::make_move_iterator(added.begin()), std::make_move_iterator(added.end()));
  if (ids.size() > AIUsageArchive::kMaximumSeenResponseIDs) {
    ids.erase(ids.begin(), ids.end() - AIUsageArchive::kMaximumSeenResponseIDs);
  }
}

}  // namespace zephyl::ai
