#include "NameTemplate.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vindrel::cli {
namespace {

constexpr const char *kPhotographsName = "{name}";
constexpr const char *kFieldList = "{name}, {stem}, {ext} and {index} are known";

std::string padded(int number, int largest) {
  std::string text = std::to_string(number);
  const std::size_t width = std::to_string(largest).size();
  return text.insert(0, width - std::min(width, text.size()), '0');
}

} // namespace

NameTemplate::Parsed NameTemplate::parse(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, Field>, 4> kFields = {
      {{"{name}", Field::Name}, {"{stem}", Field::Stem}, {"{ext}", Field::Ext}, {"{index}", Field::Index}}};
  Parsed parsed;
  std::string literal;
  while (!text.empty()) {
    if (text.front() == '}') return {{}, std::string("has a } without its {; ") + kFieldList};
    if (text.front() != '{') {
      literal += text.front();
      text.remove_prefix(1);
      continue;
    }
    const std::size_t end = text.find('}');
    if (end == std::string_view::npos) return {{}, std::string("has a { without its }; ") + kFieldList};
    const std::string_view name = text.substr(0, end + 1);
    Field field = Field::Literal;
    for (const auto &[known, meaning] : kFields)
      if (name == known) field = meaning;
    if (field == Field::Literal) return {{}, "has no meaning for " + std::string(name) + "; " + kFieldList};
    if (!literal.empty()) parsed.pieces.push_back({Field::Literal, std::exchange(literal, {})});
    parsed.pieces.push_back({field, {}});
    text.remove_prefix(end + 1);
  }
  if (!literal.empty()) parsed.pieces.push_back({Field::Literal, std::move(literal)});
  return parsed;
}

std::string NameTemplate::whyNot(const std::string &text) {
  if (text.empty()) return "must not be empty";
  if (text.find('/') != std::string::npos) return "names files, not folders: it must not hold a /; -o names the folder";
  if (text == "." || text == "..") return "must not be " + text + ", which is a folder";
  return parse(text).error;
}

NameTemplate::NameTemplate() : NameTemplate(kPhotographsName) {}

NameTemplate::NameTemplate(const std::string &text) : text_(text), pieces_(parse(text).pieces) {}

std::string NameTemplate::nameOf(const NameFields &fields) const {
  std::string name;
  for (const Piece &piece : pieces_) {
    switch (piece.field) {
    case Field::Literal:
      name += piece.literal;
      break;
    case Field::Name:
      name += fields.ext.empty() ? fields.stem : fields.stem + "." + fields.ext;
      break;
    case Field::Stem:
      name += fields.stem;
      break;
    case Field::Ext:
      name += fields.ext;
      break;
    case Field::Index:
      name += padded(fields.index + 1, fields.count);
      break;
    }
  }
  return name;
}

} // namespace vindrel::cli
