// Errors as values: what a function returns, or why it could not. No exception leaves the library; an error's message
// is one sentence that names the argument and says what to change.
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace vindrel {

enum class ErrorCode {
  InvalidArgument, ///< the message says which one and what to do
  OutOfMemory,
  Cancelled,      ///< the progress function returned false
  SourceFailed,   ///< the caller's frame source returned an error (whose message this is) or threw
  CallbackFailed, ///< the caller's progress function threw
  NotAligned,     ///< frames were not found, and the caller asked for that to be an error
  NothingLeft,    ///< the corrections leave nothing of the picture
  BadFile,        ///< what was read is not what it should be; the message says where
  FileSystem,     ///< a file could not be read or written
  Internal,       ///< a defect of the library
};

struct Error {
  ErrorCode code = ErrorCode::Internal;
  std::string message = {};
};

/// A T, or an Error. Converts from both.
template <class T>
class [[nodiscard]] Result {
public:
  Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

  explicit operator bool() const noexcept { return content_.index() == 0; }

  /// Only when there is one: ask first.
  T &operator*() &noexcept { return *std::get_if<0>(&content_); }
  const T &operator*() const &noexcept { return *std::get_if<0>(&content_); }
  T &&operator*() &&noexcept { return std::move(*std::get_if<0>(&content_)); }
  T *operator->() noexcept { return std::get_if<0>(&content_); }
  const T *operator->() const noexcept { return std::get_if<0>(&content_); }

  /// Throws std::runtime_error with the error's message when there is none: for callers who like exceptions.
  T &value() & { return throwError(), **this; }
  const T &value() const & { return throwError(), **this; }
  T &&value() && { return throwError(), *std::move(*this); }

  /// Only when there is one: ask first.
  const Error &error() const noexcept { return *std::get_if<1>(&content_); }

private:
  void throwError() const {
    if (!*this) throw std::runtime_error(error().message);
  }
  std::variant<T, Error> content_;
};

/// Success, or an Error.
template <>
class [[nodiscard]] Result<void> {
public:
  Result() = default;
  Result(Error error) : error_(std::move(error)), failed_(true) {}

  explicit operator bool() const noexcept { return !failed_; }
  /// Throws std::runtime_error with the error's message, if there is one.
  void value() const {
    if (failed_) throw std::runtime_error(error_.message);
  }
  const Error &error() const noexcept { return error_; }

private:
  Error error_;
  bool failed_ = false;
};

} // namespace vindrel
