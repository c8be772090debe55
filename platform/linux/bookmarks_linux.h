// Bookmarks as property-list data: the path and the identity of a location, so that a renamed or moved folder is found again.
#pragma once

#include "platform/bookmarks.h"

namespace platform {

class LinuxBookmarks : public Bookmarks {
 public:
  Result<std::vector<std::uint8_t>> create(const std::string& path, unsigned options) override;
  Result<ResolvedBookmark> resolve(const std::vector<std::uint8_t>& data, unsigned options) override;
  bool startAccessing(const std::string& path) override;
  void stopAccessing(const std::string& path) override;
  void limitAccess(const std::string& path) override;
};

}  // namespace platform
