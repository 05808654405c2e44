// Scriptable accessibility: trust and the focused application are set by the
// test; menus are a fixed tree. Menu reads record how many overlapped, so a test
// can prove that reads are serialised.
#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>

#include "editor/accessibility_client.h"
#include "editor/notes_menu_reader.h"

namespace zephyl::platform::testing {

class FakeAccessibility : public editor::AccessibilityClient, public editor::NotesMenuReader {
 public:
  struct Menu {
    std::string title;
    std::vector<editor::AccessibilityMenuItem> items;
  };

  bool isProcessTrusted() override { return trusted_.load(); }
  std::optional<int32_t> focusedApplicationProcessIdentifier() override {
    focusQueries_.fetch_add(1);
    std::lock_guard lock(mutex_);
    return focused_;
  }

  std::optional<std::vector<editor::AccessibilityMenuItem>> readMenu(
      const std::vector<std::string>& menuTitles) override {
    const int inside = readsInside_.fetch_add(1) + 1;
    int seen = maximumConcurrentReads_.load();
    while (inside > seen && !maximumConcurrentReads_.compare_exchange_weak(seen, inside)) {
    }
    std::function<void()> during;
    std::optional<std::vector<editor::AccessibilityMenuItem>> result;
    {
      std::lock_guard lock(mutex_);
      during = duringRead_;
      for (const auto& menu : menuBar_) {
        if (std::find(menuTitles.begin(), menuTitles.end(), menu.title) != menuTitles.end()) {
          result = menu.items;
          break;
        }
      }
    }
    if (during) during();
    readsInside_.fetch_sub(1);
    return result;
  }

  void setTrusted(bool trusted) { trusted_.store(trusted); }
  void setFocusedProcess(std::optional<int32_t> pid) {
    std::lock_guard lock(mutex_);
    focused_ = pid;
  }
  void setMenuBar(std::vector<Menu> menus) {
    std::lock_guard lock(mutex_);
    menuBar_ = std::move(menus);
  }
  // Runs inside every menu read, after the menus were looked up.
  void setDuringRead(std::function<void()> work) {
    std::lock_guard lock(mutex_);
    duringRead_ = std::move(work);
  }

  int focusQueries() const { return focusQueries_.load(); }
  int maximumConcurrentReads() const { return maximumConcurrentReads_.load(); }

 private:
  std::atomic<bool> trusted_{true};
  std::atomic<int> focusQueries_{0};
  std::atomic<int> readsInside_{0};
  std::atomic<int> maximumConcurrentReads_{0};
  std::mutex mutex_;
  std::optional<int32_t> focused_;    // guarded by mutex_
  std::vector<Menu> menuBar_;         // guarded by mutex_
  std::function<void()> duringRead_;  // guarded by mutex_
};

}  // namespace zephyl::platform::testing
