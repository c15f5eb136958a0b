// Errors as values: what a function returns, or why it could not. No exception leaves the library; an error's message
// is one sentence that names the argument and says what to change.
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace vindrel {

/// What kind of failure it was: what a program can decide by.
enum class ErrorCode {
  InvalidArgument, ///< the message says which one and what to do
  OutOfMemory,     ///< nothing is left behind; the call may be tried again
  Cancelled,       ///< the progress function returned false
  SourceFailed,    ///< the caller's frame source returned an error (whose message this is) or threw
  CallbackFailed,  ///< the caller's progress function threw
  NotAligned,      ///< frames were not found, and the caller asked for that to be an error
  NothingLeft,     ///< the corrections leave nothing of the picture
  BadFile,         ///< what was read is not what it should be; the message says where
  FileSystem,      ///< a file could not be read or written
  Internal,        ///< a defect of the library
};

/// Why there is no result.
struct Error {
  ErrorCode code = ErrorCode::Internal; ///< for programs
  /// One sentence in English, without a full stop, for people: which argument, and what to change. Its wording is not
  /// part of the interface.
  std::string message = {};
};

/// A T, or an Error; owns it.
template <class T>
class [[nodiscard]] Result {
public:
  /// A T converts to a Result, so that a function that returns one may return a T.
  Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  /// And so does an Error.
  Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

  /// Whether there is a T.
  explicit operator bool() const noexcept { return content_.index() == 0; }

  /// @name The T
  /// @{

  /// Only when there is one: ask first. Valid as long as this Result.
  T &operator*() &noexcept { return *std::get_if<0>(&content_); }
  const T &operator*() const &noexcept { return *std::get_if<0>(&content_); }
  T &&operator*() &&noexcept { return std::move(*std::get_if<0>(&content_)); }
  T *operator->() noexcept { return std::get_if<0>(&content_); }
  const T *operator->() const noexcept { return std::get_if<0>(&content_); }
  /// @}

  /// @name The T, or an exception
  /// @{

  /// Throws std::runtime_error with the error's message when there is no T: for callers who like exceptions.
  T &value() & { return throwError(), **this; }
  const T &value() const & { return throwError(), **this; }
  T &&value() && { return throwError(), *std::move(*this); }
  /// @}

  /// Only when there is one: ask first. Valid as long as this Result.
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
  /// Success: there is no value to hold.
  Result() = default;
  /// An Error converts to a Result.
  Result(Error error) : error_(std::move(error)), failed_(true) {}

  /// Whether it succeeded.
  explicit operator bool() const noexcept { return !failed_; }
  /// Throws std::runtime_error with the error's message, if there is one.
  void value() const {
    if (failed_) throw std::runtime_error(error_.message);
  }
  /// Why it did not; an empty message when it did.
  const Error &error() const noexcept { return error_; }

private:
  Error error_;
  bool failed_ = false;
};

} // namespace vindrel
