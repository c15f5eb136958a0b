// How outputs are called: a text like "{stem}_aligned.{ext}", whose fields are filled in for each photograph.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vindrel::cli {

// Of one photograph and its output.
struct NameFields {
  std::string stem; // the photograph's name without its extension
  std::string ext;  // the output's extension without the dot: the photograph's own, if it is written in its own format
  int index = 0;    // position on the command line, from 0; names count from 1
  int count = 1;    // of the photographs: the largest number decides how many leading zeros make names sort
};

class NameTemplate {
public:
  // What stands without --name: the photograph's name.
  NameTemplate();

  // Why the text is no template, empty when it is one.
  static std::string whyNot(const std::string &text);

  // The text must be one.
  explicit NameTemplate(const std::string &text);

  const std::string &text() const { return text_; }
  std::string nameOf(const NameFields &fields) const;

private:
  enum class Field { Literal, Name, Stem, Ext, Index };
  struct Piece {
    Field field = Field::Literal;
    std::string literal;
  };
  struct Parsed {
    std::vector<Piece> pieces;
    std::string error;
  };
  static Parsed parse(std::string_view text);

  std::string text_;
  std::vector<Piece> pieces_;
};

} // namespace vindrel::cli
