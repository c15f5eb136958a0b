// Option values within limits that are no whole numbers. The parser's own range check asks whether a value lies below
// or above, so that "nan", which lies nowhere, gets through.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vindrel::cli {

class NumberRange : public CLI::Validator {
public:
  NumberRange(double least, double most) {
    func_ = [least, most](const std::string &text) {
      double value = 0;
      if (CLI::detail::lexical_cast(text, value) && value >= least && value <= most) return std::string();
      return "Value " + text + " not in range " + CLI::detail::to_string(least) + " to " + CLI::detail::to_string(most);
    };
  }
};

} // namespace vindrel::cli
