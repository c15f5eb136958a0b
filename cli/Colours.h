// Colours of the result lines, on terminals whose user has not asked for none (https://no-color.org).
#pragma once

#include <string>

namespace vindrel::cli {

class Colours {
public:
  // None.
  Colours() = default;

  // What standard output can show: none into a file or a pipe, on a terminal named "dumb", or where the environment has
  // a NO_COLOR that is not empty.
  static Colours ofStandardOutput();

  std::string good(const std::string &text) const { return painted("32", text); }
  std::string bad(const std::string &text) const { return painted("1;31", text); }
  std::string faint(const std::string &text) const { return painted("2", text); }

private:
  std::string painted(const char *code, const std::string &text) const;
  bool on_ = false;
};

} // namespace vindrel::cli
