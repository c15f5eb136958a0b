#include "Colours.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace vindrel::cli {
namespace {

std::string_view environment(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

} // namespace

Colours Colours::ofStandardOutput() {
  Colours colours;
  const std::string_view terminal = environment("TERM");
  colours.on_ =
      isatty(STDOUT_FILENO) == 1 && environment("NO_COLOR").empty() && !terminal.empty() && terminal != "dumb";
  return colours;
}

std::string Colours::painted(const char *code, const std::string &text) const {
  return on_ ? "\x1b[" + std::string(code) + "m" + text + "\x1b[0m" : text;
}

} // namespace vindrel::cli
