#include "core/notification_center.h"

#include <algorithm>
#include <memory>

namespace zephyl::core {

NotificationCenter::Token NotificationCenter::addObserver(std::string name, Observer observer) {
  std::lock_guard lock(mutex_);
  const Token token = nextToken_++;
  entries_.push_back({token, std::move(name), std::make_shared<Observer>(std::move(observer))});
  return token;
}

void NotificationCenter::removeObserver(Token token) {
  std::lock_guard lock(mutex_);
  std::erase_if(entries_, [token](const Entry& entry) { return entry.token == token; });
}

void NotificationCenter::post(const std::string& name) {
  std::vector<std::shared_ptr<Observer>> observers;
  {
    std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
      if (entry.name == name) observers.push_back(entry.observer);
    }
  }
  for (const auto& observer : observers) (*observer)();
}

}  // namespace zephyl::core
