// Failures as values: a function that can fail returns Result<T> or Status, which the caller must look at.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace optimizer {

enum class ErrorKind {
  damaged,      // the bytes are not what their format promises
  password,     // the document is encrypted and the password does not open it
  unsupported,  // well formed, but beyond what this engine handles
  limit,        // a bound on depth, count, size or memory was reached
  io,           // the file system refused
  internal,     // our own mistake, found before it did harm
};

struct Error {
  ErrorKind kind = ErrorKind::internal;
  std::string message;  // one line for the user, without a trailing period
};

template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}

  bool ok() const { return state_.index() == 0; }
  explicit operator bool() const { return ok(); }
  T& value() & { return std::get<0>(state_); }
  const T& value() const& { return std::get<0>(state_); }
  T&& value() && { return std::get<0>(std::move(state_)); }
  T& operator*() & { return value(); }
  const T& operator*() const& { return value(); }
  T&& operator*() && { return std::move(*this).value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  const Error& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, Error> state_;
};

// Success, or why not.
class [[nodiscard]] Status {
 public:
  Status() = default;
  Status(Error error) : error_(std::move(error)) {}

  bool ok() const { return !error_; }
  explicit operator bool() const { return ok(); }
  const Error& error() const { return *error_; }

 private:
  std::optional<Error> error_;
};

// Hands a failed Status or Result on to the caller; usable where the function returns either.
#define OPTIMIZER_TRY(expression)                     \
  do {                                                \
    if (auto&& tried = (expression); !tried.ok()) {   \
      return tried.error();                           \
    }                                                 \
  } while (false)

}  // namespace optimizer
