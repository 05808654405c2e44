// An in-memory pasteboard that records every write and can fail reads or writes.
#pragma once

#include <mutex>
#include <optional>
#include <vector>

#include "editor/pasteboard.h"

namespace zephyl::platform::testing {

class FakePasteboard : public editor::Pasteboard {
 public:
  std::vector<editor::PasteboardItem> contents() override {
    std::lock_guard lock(mutex_);
    if (readFailure_) throw editor::PasteboardError(*readFailure_);
    return items_;
  }

  void setContents(const std::vector<editor::PasteboardItem>& items) override {
    std::lock_guard lock(mutex_);
    if (writeFailure_) throw editor::PasteboardError(*writeFailure_);
    items_ = items;
    writes_.push_back(items);
  }

  void setReadFailure(std::optional<editor::PasteboardError::Code> code) {
    std::lock_guard lock(mutex_);
    readFailure_ = code;
  }
  void setWriteFailure(std::optional<editor::PasteboardError::Code> code) {
    std::lock_guard lock(mutex_);
    writeFailure_ = code;
  }
  // Sets the contents without recording a write, as another application would.
  void preset(std::vector<editor::PasteboardItem> items) {
    std::lock_guard lock(mutex_);
    items_ = std::move(items);
  }
  std::vector<std::vector<editor::PasteboardItem>> writes() {
    std::lock_guard lock(mutex_);
    return writes_;
  }

 private:
  std::mutex mutex_;
  std::vector<editor::PasteboardItem> items_;                  // guarded by mutex_
  std::vector<std::vector<editor::PasteboardItem>> writes_;    // guarded by mutex_
  std::optional<editor::PasteboardError::Code> readFailure_;   // guarded by mutex_
  std::optional<editor::PasteboardError::Code> writeFailure_;  // guarded by mutex_
};

}  // namespace zephyl::platform::testing
