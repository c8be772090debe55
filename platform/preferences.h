// Preferences: named values per domain, shared between programs.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/property_list.h"

namespace platform {

// One domain. Every read sees what any program wrote last, also one that was killed since; every write is whole, and
// leaves keys that it does not name as they are. The disk has it when it returns or, of several writes within a second,
// when the process ends at the latest. A set that fails keeps the old state.
class Preferences {
 public:
  virtual ~Preferences() = default;

  virtual std::optional<PropertyList> object(const std::string& key) = 0;
  bool boolean(const std::string& key);          // numbers not 0; texts such as "YES", "true", "1"; else false
  std::int64_t integer(const std::string& key);  // truncated; texts by their leading digits; absent and others 0
  std::optional<std::vector<std::uint8_t>> data(const std::string& key);  // only data

  virtual Status set(const std::string& key, const PropertyList& value) = 0;
  virtual Status remove(const std::string& key) = 0;
  // Runs body while no other program can write the domain; its set and remove calls reach the disk together when it returns,
  // or not at all. Without a lock to be had, body does not run and the error says why.
  virtual Status update(const std::function<void(Preferences&)>& body) = 0;
  // Asks for what was set to be kept; a no-op where set already does that.
  virtual Status synchronize() = 0;
};

// Where the domains are found.
class PreferencesStore {
 public:
  virtual ~PreferencesStore() = default;
  // A suite shared by an application group; nothing when it cannot be opened (a file that is no property-list dictionary, no home).
  virtual std::unique_ptr<Preferences> suite(const std::string& groupIdentifier) = 0;
  // The program's own preferences.
  virtual std::unique_ptr<Preferences> standard() = 0;
};

}  // namespace platform
