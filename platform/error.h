// Failures of the operating system's services, as values with the texts that users see.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace platform {

// An error value. The domains and codes of file operations are those of the tables in errors.h of the implementation;
// an empty domain is allowed.
struct PlatformError {
  std::string domain;
  long code = 0;
  // Named details in the order in which they are shown, such as {"NSFilePath", "/a/b"}. The keys with a meaning here are
  // the four constants below.
  std::vector<std::pair<std::string, std::string>> userInfo;
  std::shared_ptr<const PlatformError> underlying;
  // The sentence that the domain itself has for the code, where userInfo brings none.
  std::string domainText = {};

  // What a user reads: the localized description of userInfo, else the domain's sentence, else a generic one that names domain
  // and code.
  std::string localizedDescription() const;
  // The full form on one line: Error Domain=D Code=N "TEXT" UserInfo={key=value, …}; TEXT is the debug description, else
  // the localized description, else the domain's sentence, else the failure reason, else (null); without details there is no
  // UserInfo part. Nothing is put on lines of its own; file names and messages keep their bytes, line breaks included.
  std::string description() const;
};

inline constexpr const char* localizedDescriptionKey = "NSLocalizedDescription";
inline constexpr const char* failureReasonKey = "NSLocalizedFailureReason";
inline constexpr const char* debugDescriptionKey = "NSDebugDescription";
inline constexpr const char* filePathKey = "NSFilePath";

template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Result(PlatformError error) : state_(std::in_place_index<1>, std::move(error)) {}

  bool ok() const { return state_.index() == 0; }
  explicit operator bool() const { return ok(); }
  T& operator*() { return std::get<0>(state_); }
  const T& operator*() const { return std::get<0>(state_); }
  T* operator->() { return &std::get<0>(state_); }
  const T* operator->() const { return &std::get<0>(state_); }
  const PlatformError& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, PlatformError> state_;
};

// The value of a Result that only succeeds.
struct Done {};
using Status = Result<Done>;

// Stops the process abnormally: the reason and its source position on standard error, then abort. For states that are held
// impossible. Standard output is flushed first, so that no message is lost.
[[noreturn]] void fatalError(const std::string& reason, const char* file, int line);

}  // namespace platform
