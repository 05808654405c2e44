// NotificationCenter: an in-process stand-in for the main notification centre.
// Stores post a named notification after a change ("AIUsageDidChange"); views
// that show the data observe the name and read the store again.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zephyl::core {

class NotificationCenter {
 public:
  using Observer = std::function<void()>;
  using Token = uint64_t;

  // Calls `observer` on the posting thread for every later post of `name`.
  // The token removes it again. Any thread.
  Token addObserver(std::string name, Observer observer);
  void removeObserver(Token token);

  // Calls the observers of `name` in the order they were added, outside the
  // lock, so an observer may add or remove observers. Any thread.
  void post(const std::string& name);

 private:
  struct Entry {
    Token token;
    std::string name;
    std::shared_ptr<Observer> observer;
  };
  std::mutex mutex_;
  std::vector<Entry> entries_;  // guarded by mutex_
  Token nextToken_ = 1;         // guarded by mutex_
};

}  // namespace zephyl::core
