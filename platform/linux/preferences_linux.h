// Preferences as one XML property list per domain in the user's configuration folder.
#pragma once

#include "platform/preferences.h"

namespace platform {

class LinuxPreferencesStore : public PreferencesStore {
 public:
  std::unique_ptr<Preferences> suite(const std::string& groupIdentifier) override;
  std::unique_ptr<Preferences> standard() override;
};

}  // namespace platform
