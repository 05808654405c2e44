// FileView: the bytes of a whole file, read-only, valid while the view lives.
// On disk it is a memory mapping, so that a large file that is mostly skipped
// (a cache whose entries are looked up, not all read) costs neither a copy nor
// the memory of the parts never touched.
#pragma once

#include <string>
#include <string_view>

namespace zephyl::core {

class FileView {
 public:
  virtual ~FileView() = default;
  virtual std::string_view bytes() const = 0;
  // The bytes before `end` will not be read again: the memory they take may
  // be given back while the rest is read. They stay readable.
  virtual void doneWith(size_t /*end*/) const {}
};

// A view of bytes held in memory, for file systems that cannot map.
class StringFileView : public FileView {
 public:
  explicit StringFileView(std::string contents) : contents_(std::move(contents)) {}
  std::string_view bytes() const override { return contents_; }

 private:
  std::string contents_;
};

}  // namespace zephyl::core
