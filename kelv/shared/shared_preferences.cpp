#include "kelv/shared/shared_preferences.h"

namespace kelv {

std::unique_ptr<platform::Preferences> openSharedDefaults(platform::PreferencesStore& store) {
  return store.suite(groupIdentifier);
}

}  // namespace kelv
