#include "agents/testing/test_archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <memory>
#include <stdexcept>

namespace zephyl::agents::testing {
namespace {

using Kind = TestArchiveEntry::Kind;

la_ssize_t append(archive*, void* context, const void* data, size_t size) {
  static_cast<std::string*>(context)->append(static_cast<const char*>(data), size);
  return static_cast<la_ssize_t>(size);
}

}  // namespace

std::string makeTestArchive(const std::vector<TestArchiveEntry>& entries, TestArchiveFormat format) {
  std::string bytes;
  std::unique_ptr<archive, decltype(&archive_write_free)> writer(archive_write_new(), archive_write_free);
  if (format == TestArchiveFormat::kZip) {
    archive_write_set_format_zip(writer.get());
  } else {
    archive_write_set_format_pax_restricted(writer.get());
    archive_write_add_filter_gzip(writer.get());
  }
  if (archive_write_open(writer.get(), &bytes, nullptr, append, nullptr) != ARCHIVE_OK) {
    throw std::runtime_error(archive_error_string(writer.get()));
  }
  for (const TestArchiveEntry& item : entries) {
    std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(archive_entry_new(),
                                                                        archive_entry_free);
    archive_entry_set_pathname(entry.get(), item.path.c_str());
    archive_entry_set_perm(entry.get(), static_cast<mode_t>(item.mode));
    switch (item.kind) {
      case Kind::kFile:
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(item.contents.size()));
        break;
      case Kind::kDirectory:
        archive_entry_set_filetype(entry.get(), AE_IFDIR);
        break;
      case Kind::kSymlink:
        archive_entry_set_filetype(entry.get(), AE_IFLNK);
        archive_entry_set_symlink(entry.get(), item.contents.c_str());
        break;
      case Kind::kHardlink:
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_hardlink(entry.get(), item.contents.c_str());
        break;
      case Kind::kCharacterDevice:
        archive_entry_set_filetype(entry.get(), AE_IFCHR);
        archive_entry_set_rdev(entry.get(), makedev(1, 3));
        break;
    }
    if (archive_write_header(writer.get(), entry.get()) != ARCHIVE_OK) {
      throw std::runtime_error(archive_error_string(writer.get()));
    }
    if (item.kind == Kind::kFile && !item.contents.empty()) {
      archive_write_data(writer.get(), item.contents.data(), item.contents.size());
    }
  }
  archive_write_close(writer.get());
  return bytes;
}

}  // namespace zephyl::agents::testing
