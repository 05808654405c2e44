#include "agents/acp_line_buffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace zephyl::agents {
namespace {

constexpr size_t kHugePage = size_t{2} << 20;

// Storage for a long line: in huge pages where the system has them, so the
// first pass over fresh memory takes one fault per 2 MiB instead of one per
// 4 KiB. Not value-initialised: reads fill it.
char* allocate(size_t& capacity) {
  if (capacity < kHugePage) return static_cast<char*>(std::malloc(capacity));
  capacity = (capacity + kHugePage - 1) / kHugePage * kHugePage;
  char* storage = static_cast<char*>(std::aligned_alloc(kHugePage, capacity));
#ifdef MADV_HUGEPAGE
  if (storage != nullptr) madvise(storage, capacity, MADV_HUGEPAGE);  // only a hint
#endif
  return storage;
}

}  // namespace

std::span<char> ACPLineBuffer::space(size_t bytes) {
  lines_.clear();
  // Lines before the remainder were handed out; only the remainder moves down.
  if (begin_ > 0) {
    std::memmove(storage_.get(), storage_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (capacity_ - end_ < bytes) {
    size_t capacity = std::max(capacity_ * 2, end_ + bytes);
    Storage grown(allocate(capacity));
    if (grown == nullptr) throw std::bad_alloc();
    if (end_ > 0) std::memcpy(grown.get(), storage_.get(), end_);
    storage_ = std::move(grown);
    capacity_ = capacity;
  }
  return {storage_.get() + end_, capacity_ - end_};
}

const std::vector<std::string_view>& ACPLineBuffer::commit(size_t bytes) {
  lines_.clear();
  const char* const data = storage_.get();
  // The remainder holds no line feed, so only the new bytes are searched.
  size_t at = end_;
  end_ += bytes;
  while (at < end_) {
    const void* found = std::memchr(data + at, '\n', end_ - at);
    if (found == nullptr) break;
    const size_t lineEnd = static_cast<const char*>(found) - data;
    if (lineEnd > begin_) lines_.emplace_back(data + begin_, lineEnd - begin_);
    begin_ = lineEnd + 1;
    at = begin_;
  }
  if (static_cast<int64_t>(end_ - begin_) > maxLineBytes_) {
    // Nothing of an over-long line is kept; the caller ends the connection.
    end_ = begin_;
    overflowed_ = true;
  }
  return lines_;
}

const std::vector<std::string_view>& ACPLineBuffer::append(std::string_view chunk) {
  const std::span<char> free = space(chunk.size());
  std::copy(chunk.begin(), chunk.end(), free.begin());
  return commit(chunk.size());
}

}  // namespace zephyl::agents
