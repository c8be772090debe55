// Preferences as one XML property list per domain in the user's configuration folder.
#pragma once

#include <chrono>

#include "platform/preferences.h"

namespace platform {

class LinuxPreferencesStore : public PreferencesStore {
 public:
  // How long a write waits for the lock of a domain before it fails.
  explicit LinuxPreferencesStore(std::chrono::milliseconds longestWait = std::chrono::seconds(30)) : longestWait_(longestWait) {}
  std::unique_ptr<Preferences> suite(const std::string& groupIdentifier) override;
  std::unique_ptr<Preferences> standard() override;

 private:
  std::chrono::milliseconds longestWait_;
};

}  // namespace platform
