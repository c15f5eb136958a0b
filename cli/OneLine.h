// Texts of other libraries, to be quoted in a message of one line.
#pragma once

#include <cstddef>
#include <string>

namespace vindrel::cli {

// Line breaks within become "; ", those at the end vanish.
inline std::string oneLine(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
    text.pop_back();
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
    text.replace(at, 1, "; ");
  return text.empty() ? "no reason given" : text;
}

} // namespace vindrel::cli
