// The timing hook. Does nothing here; a build that wants the timings routes them to its log in this one place.
#pragma once

#include <chrono>
#include <cstdarg>

namespace vindrel {

inline void profileLogV(int /*level*/, const char * /*format*/, std::va_list /*arguments*/) {}

inline void profileLog(int level, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  profileLogV(level, format, arguments);
  va_end(arguments);
}

// Seconds of a steady clock, for differences.
inline double elapsedSeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace vindrel
