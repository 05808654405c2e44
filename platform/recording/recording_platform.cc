#include "platform/recording/recording_platform.h"

#include "editor/script_error.h"

namespace zephyl::platform {
namespace {

using core::JSONValue;

JSONValue action(std::string_view name, JSONValue::Object fields = {}) {
  JSONValue::Object object{{"action", name}};
  for (auto& field : fields) object.push_back(std::move(field));
  return object;
}

JSONValue panel(std::string_view name, JSONValue::Object fields = {}) {
  JSONValue::Object object{{"panel", name}};
  for (auto& field : fields) object.push_back(std::move(field));
  return object;
}

}  // namespace

std::vector<RecordingPlatform::Entry> RecordingPlatform::entriesSince(size_t count) const {
  core::MutexLock lock(mutex_);
  if (count >= entries_.size()) return {};
  return {entries_.begin() + static_cast<std::ptrdiff_t>(count), entries_.end()};
}

std::vector<std::string> RecordingPlatform::statuses() const {
  core::MutexLock lock(mutex_);
  std::vector<std::string> result;
  for (const auto& entry : entries_) {
    const auto& fields = *entry.object();
    if (fields.front().first == "status") result.push_back(*fields.front().second.string());
  }
  return result;
}

void RecordingPlatform::clear() {
  core::MutexLock lock(mutex_);
  entries_.clear();
}

void RecordingPlatform::record(Entry entry) {
  core::MutexLock lock(mutex_);
  entries_.push_back(std::move(entry));
}

bool RecordingPlatform::failing(const std::string& name) const {
  core::MutexLock lock(mutex_);
  auto it = failing_.find(name);
  return it != failing_.end() && it->second;
}

void RecordingPlatform::setFailing(const std::string& name, bool isFailing) {
  core::MutexLock lock(mutex_);
  failing_[name] = isFailing;
}

// --- The user's side ---

void RecordingPlatform::activate(const editor::RunningApplication& application) {
  std::vector<ActivationHandler> handlers;
  {
    core::MutexLock lock(mutex_);
    frontmost_ = application;
    for (const auto& [token, handler] : activationObservers_) handlers.push_back(handler);
  }
  // Outside the lock: handlers call back into the platform.
  for (const auto& handler : handlers) handler(application);
}

void RecordingPlatform::terminate(int32_t processIdentifier) {
  std::vector<TerminationHandler> handlers;
  {
    core::MutexLock lock(mutex_);
    if (frontmost_ && frontmost_->processIdentifier == processIdentifier) frontmost_.reset();
    for (const auto& [token, handler] : terminationObservers_) handlers.push_back(handler);
  }
  for (const auto& handler : handlers) handler(processIdentifier);
}

void RecordingPlatform::moveFocus(const editor::NotesAccessibilityContext& context) {
  std::optional<FocusHandler> handler;
  {
    core::MutexLock lock(mutex_);
    context_ = context;
    handler = focusHandler_;
  }
  if (handler) (*handler)(context);
}

void RecordingPlatform::setTrusted(bool trusted) {
  core::MutexLock lock(mutex_);
  trusted_ = trusted;
}

// --- Actions ---

bool RecordingPlatform::post(const editor::PostedShortcut& shortcut) {
  if (failing("postShortcut")) return false;
  core::MutexLock lock(mutex_);
  // Command+V over HTML on the pasteboard is how a template is pasted.
  if (shortcut == editor::kPasteShortcut) {
    for (const auto& item : pasteboard_) {
      if (item.type != editor::kPasteboardHTMLType) continue;
      if (failing_["paste"]) return false;
      entries_.push_back(action("paste", {{"html", item.data}}));
      return true;
    }
  }
  entries_.push_back(
      action("postShortcut", {{"keyCode", shortcut.keyCode}, {"flags", shortcut.modifierFlags}}));
  return true;
}

void RecordingPlatform::run(const std::string&, const std::string& taskLabel) {
  if (failing("runScript")) throw editor::ScriptError(editor::ScriptError::Code::kUnavailable);
  record(action("runScript", {{"label", taskLabel}}));
}

bool RecordingPlatform::deleteBackward(int count) {
  if (failing("deleteBackward")) return false;
  record(action("deleteBackward", {{"count", count}}));
  return true;
}

bool RecordingPlatform::typeText(const std::string& text) {
  if (failing("typeText")) return false;
  record(action("typeText", {{"text", text}}));
  return true;
}

std::vector<editor::PasteboardItem> RecordingPlatform::contents() {
  core::MutexLock lock(mutex_);
  return pasteboard_;
}

void RecordingPlatform::setContents(const std::vector<editor::PasteboardItem>& items) {
  core::MutexLock lock(mutex_);
  pasteboard_ = items;
}

void RecordingPlatform::showStatus(std::string_view message) {
  record(JSONValue::Object{{"status", message}});
}

// --- Panels ---

void RecordingPlatform::showSlashPanel(const std::vector<editor::SlashCommand>& rows, size_t selectedIndex) {
  JSONValue::Array identifiers;
  for (const auto& row : rows) identifiers.emplace_back(row.identifier);
  record(panel("slash", {{"rows", std::move(identifiers)}, {"selected", selectedIndex}}));
}

void RecordingPlatform::hideSlashPanel() { record(panel("slash", {{"visible", false}})); }
void RecordingPlatform::showQuickOpen() { record(panel("quickOpen")); }
void RecordingPlatform::showCommandPalette() { record(panel("commandPalette")); }

void RecordingPlatform::showAssistant(const editor::AssistantHandOff& handOff) {
  JSONValue::Object fields{{"prompt", handOff.prompt}};
  if (handOff.noteContext && handOff.noteContext->noteIdentifier) {
    fields.emplace_back("noteID", *handOff.noteContext->noteIdentifier);
  }
  record(panel("assistant", std::move(fields)));
}

void RecordingPlatform::showSkillsLauncher() { record(panel("skillsLauncher")); }
void RecordingPlatform::showStatusMenu() { record(panel("statusMenu")); }

void RecordingPlatform::close(editor::AppPanel closed) {
  record(panel(editor::appPanelName(closed), {{"visible", false}}));
}

// --- Workspace ---

std::optional<editor::RunningApplication> RecordingPlatform::frontmostApplication() {
  core::MutexLock lock(mutex_);
  return frontmost_;
}

editor::Workspace::ObserverToken RecordingPlatform::addActivationObserver(ActivationHandler handler) {
  core::MutexLock lock(mutex_);
  activationObservers_[nextToken_] = std::move(handler);
  return nextToken_++;
}

editor::Workspace::ObserverToken RecordingPlatform::addTerminationObserver(TerminationHandler handler) {
  core::MutexLock lock(mutex_);
  terminationObservers_[nextToken_] = std::move(handler);
  return nextToken_++;
}

void RecordingPlatform::removeObserver(ObserverToken token) {
  core::MutexLock lock(mutex_);
  activationObservers_.erase(token);
  terminationObservers_.erase(token);
}

bool RecordingPlatform::activateApplication(std::string_view bundleIdentifier) {
  if (failing("activateApplication")) return false;
  record(action("activateApplication", {{"bundleID", bundleIdentifier}}));
  return true;
}

// --- Accessibility ---

bool RecordingPlatform::observe(int32_t, FocusHandler onFocusChanged) {
  core::MutexLock lock(mutex_);
  focusHandler_ = std::move(onFocusChanged);
  return true;
}

void RecordingPlatform::stopObserving() {
  core::MutexLock lock(mutex_);
  focusHandler_.reset();
}

bool RecordingPlatform::notesInFrontLocked() const {
  return frontmost_ && frontmost_->bundleIdentifier == editor::kNotesBundleIdentifier;
}

std::optional<editor::NotesAccessibilityContext> RecordingPlatform::readContext() {
  core::MutexLock lock(mutex_);
  if (!trusted_ || !notesInFrontLocked()) return std::nullopt;
  return context_;
}

bool RecordingPlatform::isProcessTrusted() {
  core::MutexLock lock(mutex_);
  return trusted_;
}

std::optional<int32_t> RecordingPlatform::focusedApplicationProcessIdentifier() {
  core::MutexLock lock(mutex_);
  if (!frontmost_) return std::nullopt;
  return frontmost_->processIdentifier;
}

std::optional<std::vector<editor::AccessibilityMenuItem>> RecordingPlatform::readMenu(
    const std::vector<std::string>&) {
  return std::vector<editor::AccessibilityMenuItem>{};
}

}  // namespace zephyl::platform
