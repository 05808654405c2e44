#include "notes_store/shared_id_parts.h"

#include <algorithm>

namespace zephyl::notes_store {

SharedIdParts::SharedIdParts(size_t capacity)
    : capacity_(std::min<size_t>(capacity, kNone)), parts_(new std::string_view[capacity_]) {}

SharedIdParts& SharedIdParts::program() {
  static SharedIdParts parts(4096);
  return parts;
}

uint16_t SharedIdParts::number(std::string_view shared) {
  const std::lock_guard lock(mutex_);
  if (const auto it = numbers_.find(shared); it != numbers_.end()) return it->second;
  if (numbers_.size() == capacity_) return kNone;
  const auto number = static_cast<uint16_t>(numbers_.size());
  parts_[number] = texts_.emplace_back(shared);
  numbers_.emplace(parts_[number], number);
  return number;
}

}  // namespace zephyl::notes_store
