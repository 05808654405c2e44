// Unpacks an agent's downloaded archive (zip, tar and its compressed forms,
// through libarchive) into a folder, refusing anything that could reach outside
// that folder or fill the disk. A refused archive leaves a partly filled folder
// that the caller throws away; nothing outside it is ever written.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::agents {

struct AgentArchiveLimits {
  // Agent builds are a few hundred MiB; a bomb that inflates past this is refused.
  uint64_t maximumExtractedBytes = uint64_t{2} << 30;
  uint64_t maximumEntries = 100'000;
};

class AgentArchiveError : public core::Error {
 public:
  enum class Code { kUnreadable, kUnsafeEntry, kTooLarge, kWriteFailed };

  // `detail` (an entry name, libarchive's message) is for the log only.
  AgentArchiveError(Code code, std::string detail)
      : Error(std::string(text(code))), code_(code), detail_(std::move(detail)) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kUnreadable:
        return "The archive could not be read";
      case Code::kUnsafeEntry:
        return "The archive holds an entry that would land outside its folder";
      case Code::kTooLarge:
        return "The archive unpacks to more than the allowed size";
      case Code::kWriteFailed:
        return "The archive could not be unpacked to disk";
    }
    return {};
  }

  Code code() const { return code_; }
  const std::string& detail() const { return detail_; }

 private:
  Code code_;
  std::string detail_;
};

// Extracts the archive at `archivePath` into `destination`, an existing empty
// folder. Regular files, folders and links whose targets stay inside are
// allowed; absolute names, ".." components, links that point out (also through
// other links), device files, FIFOs and sockets are refused, as is an archive
// with more entries or bytes than `limits` allow. Set-user-ID bits and owners
// are dropped. Throws AgentArchiveError.
void extractAgentArchive(const std::string& archivePath, const std::string& destination,
                         const AgentArchiveLimits& limits = {});

}  // namespace zephyl::agents
