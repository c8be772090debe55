// Bookmarks find a location again after it was renamed or moved; access to the location of a security-scoped one is limited and
// has to be started.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/error.h"

namespace platform {

struct ResolvedBookmark {
  std::string path;
  bool stale = false;  // found, but not where it was
};

class Bookmarks {
 public:
  enum CreationOptions : unsigned { withSecurityScope = 2048 };
  enum ResolutionOptions : unsigned { withoutUserInterface = 256, resolveWithSecurityScope = 1024 };

  virtual ~Bookmarks() = default;

  virtual Result<std::vector<std::uint8_t>> create(const std::string& path, unsigned options) = 0;
  // Errors: 259 for data that is no bookmark, 4 when the location is gone.
  virtual Result<ResolvedBookmark> resolve(const std::vector<std::uint8_t>& data, unsigned options) = 0;

  // From here on the process may touch the location at path, its own temporary, preferences and Trash folders and what the system
  // needs, and nothing else; limited by the kernel where it can (which cannot be taken back), by this library's own checks always.
  // False when the location refuses access.
  virtual bool startAccessing(const std::string& path) = 0;
  // Ends the access that startAccessing gave; calling it without one is allowed.
  virtual void stopAccessing(const std::string& path) = 0;
  // The limit of startAccessing for a location that a hand-over gave directly: there is nothing to stop.
  virtual void limitAccess(const std::string& path) = 0;
};

}  // namespace platform
