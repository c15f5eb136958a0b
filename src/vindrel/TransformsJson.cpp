// The transforms file as text. docs/transforms.md describes it; share/transforms.schema.json is its schema.
#include "vindrel/Guard.h"
#include "vindrel/TransformsCheck.h"
#include "vindrel/transforms_file.hpp"
#include "vindrel/version.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

namespace vindrel {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char *kFormat = "vindrel-transforms";
constexpr int kVersion = 1; // raised when a reader of the present form would misunderstand
constexpr const char *kDirection = "frameFromReference";
constexpr const char *kPixelConvention = "samples-at-integers";

constexpr const char *kModels[] = {"shift", "affine", "perspective"};
constexpr const char *kVerdicts[] = {"reference", "found", "notFound"};

// The format nests four deep, and fields that are not known may nest deeper. Deeper still is an attack: as an object
// grows while it is parsed, its fields are copied, which recurses until the stack is used up.
constexpr int kDeepest = 64;

// Thrown and caught in this file.
struct Unfit {
  std::string message;
};

// A value of the document that knows its place in it.
class Node {
public:
  Node(const Json &value, std::string place) : value_(value), place_(std::move(place)) {}

  Node operator[](const char *name) const {
    if (!value_.is_object()) fail("must be an object");
    const auto found = value_.find(name);
    if (found == value_.end()) fail("lacks the field \"" + std::string(name) + "\"");
    return {*found, place_.empty() ? name : place_ + "." + name};
  }
  bool has(const char *name) const { return value_.is_object() && value_.contains(name); }
  std::vector<Node> elements() const {
    if (!value_.is_array()) fail("must be an array");
    std::vector<Node> nodes;
    for (std::size_t i = 0; i < value_.size(); ++i)
      nodes.emplace_back(value_[i], place_ + "[" + std::to_string(i) + "]");
    return nodes;
  }
  double number() const {
    if (!value_.is_number()) fail("must be a number");
    return value_.get<double>();
  }
  // null stands for infinity, for which JSON has no number.
  double numberOrNull() const { return value_.is_null() ? std::numeric_limits<double>::infinity() : number(); }
  int whole() const {
    const double value = number();
    if (!(std::abs(value) <= std::numeric_limits<int>::max()) || value != std::trunc(value)) {
      fail("must be a whole number of at most 2147483647");
    }
    return static_cast<int>(value);
  }
  bool truth() const {
    if (!value_.is_boolean()) fail("must be true or false");
    return value_.get<bool>();
  }
  std::string text() const {
    if (!value_.is_string()) fail("must be a string");
    return value_.get<std::string>();
  }
  template <std::size_t n>
  int oneOf(const char *const (&names)[n]) const {
    const auto *found = std::find(names, names + n, text());
    if (found == names + n) fail("is not one of those that this version knows");
    return static_cast<int>(found - names);
  }
  [[noreturn]] void fail(const std::string &what) const {
    throw Unfit{(place_.empty() ? "the file" : place_) + ": " + what};
  }

private:
  const Json &value_;
  std::string place_;
};

Json matrixOf(const Transform &transform) {
  return transform.matrix;
}

Json frameOf(const FrameEstimate &frame, const std::string &name) {
  Json json = {{"name", name},
               {"matrix", matrixOf(frame.frameFromReference)},
               {"verdict", kVerdicts[static_cast<int>(frame.verdict)]},
               {"reason", frame.reason},
               {"dropped", frame.dropped},
               {"rank", frame.rank},
               {"pairs", frame.pairs},
               {"inliers", frame.inliers},
               {"rms", frame.rms},
               {"coverage", frame.coverage}};
  json["expectedError"] = std::isfinite(frame.expectedError) ? Json(frame.expectedError) : Json(nullptr);
  json["cornerDeviation"] = frame.cornerDeviation;
  json["scale"] = frame.scale;
  return json;
}

Json documentOf(const TransformsFile &transforms) {
  const StackEstimate &estimate = transforms.estimate;
  Json json = {{"format", kFormat},
               {"version", kVersion},
               {"library", version()},
               {"model", kModels[static_cast<int>(estimate.model)]},
               {"direction", kDirection},
               {"pixelConvention", kPixelConvention},
               {"threads", transforms.threads},
               {"reference", estimate.reference},
               {"frameSize", {{"width", estimate.frameSize.width}, {"height", estimate.frameSize.height}}},
               {"crop",
                {{"x", estimate.common.x},
                 {"y", estimate.common.y},
                 {"width", estimate.common.width},
                 {"height", estimate.common.height}}}};
  if (!estimate.modelScores.empty()) {
    Json &scores = json["modelScores"] = Json::array();
    for (const ModelScore &score : estimate.modelScores)
      scores.push_back({{"model", kModels[static_cast<int>(score.model)]}, {"criterion", score.criterion}});
  }
  Json &frames = json["frames"] = Json::array();
  for (std::size_t i = 0; i < estimate.frames.size(); ++i)
    frames.push_back(frameOf(estimate.frames[i], transforms.names[i]));
  return json;
}

FrameEstimate readFrame(const Node &node) {
  FrameEstimate frame;
  const std::vector<Node> elements = node["matrix"].elements();
  if (elements.size() != frame.frameFromReference.matrix.size()) node["matrix"].fail("must have nine elements");
  std::transform(elements.begin(), elements.end(), frame.frameFromReference.matrix.begin(),
                 [](const Node &element) { return element.number(); });
  frame.verdict = static_cast<Verdict>(node["verdict"].oneOf(kVerdicts));
  frame.reason = node["reason"].text();
  frame.dropped = node["dropped"].truth();
  frame.rank = node["rank"].whole();
  frame.pairs = node["pairs"].whole();
  frame.inliers = node["inliers"].whole();
  frame.rms = node["rms"].number();
  frame.coverage = node["coverage"].number();
  frame.expectedError = node["expectedError"].numberOrNull();
  frame.cornerDeviation = node["cornerDeviation"].number();
  frame.scale = node["scale"].number();
  return frame;
}

void requireText(const Node &node, const char *name, const char *expected) {
  if (node[name].text() != expected) node[name].fail("must be \"" + std::string(expected) + "\"");
}

TransformsFile readDocument(const Node &root) {
  requireText(root, "format", kFormat);
  if (const int found = root["version"].whole(); found != kVersion) {
    root["version"].fail("is " + std::to_string(found) + ", but this library knows version " +
                         std::to_string(kVersion) + "; use a library as new as the file");
  }
  requireText(root, "direction", kDirection);
  requireText(root, "pixelConvention", kPixelConvention);
  TransformsFile result;
  StackEstimate &estimate = result.estimate;
  result.libraryVersion = root["library"].text();
  result.threads = root["threads"].whole();
  estimate.model = static_cast<Model>(root["model"].oneOf(kModels));
  estimate.reference = root["reference"].whole();
  estimate.frameSize = {root["frameSize"]["width"].whole(), root["frameSize"]["height"].whole()};
  const Node crop = root["crop"];
  estimate.common = {crop["x"].whole(), crop["y"].whole(), crop["width"].whole(), crop["height"].whole()};
  if (root.has("modelScores")) {
    for (const Node &score : root["modelScores"].elements())
      estimate.modelScores.push_back({static_cast<Model>(score["model"].oneOf(kModels)), score["criterion"].number()});
  }
  for (const Node &frame : root["frames"].elements()) {
    estimate.frames.push_back(readFrame(frame));
    result.names.push_back(frame["name"].text());
  }
  return result;
}

Error badFile(std::string message) {
  return {ErrorCode::BadFile, std::move(message)};
}

// "line 3, column 7" of a byte of the text.
std::string placeOf(std::string_view text, std::size_t byte) {
  const std::string_view before = text.substr(0, byte > 0 ? std::min(byte - 1, text.size()) : 0);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t start = before.rfind('\n');
  const std::size_t column = before.size() - (start == std::string_view::npos ? 0 : start + 1) + 1;
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

} // namespace

Result<std::string> toJson(const TransformsFile &transforms) {
  return guarded([&]() -> Result<std::string> {
    if (std::string error = transformsError(transforms); !error.empty()) return invalidArgument(std::move(error));
    try {
      return documentOf(transforms).dump(2) + "\n";
    } catch (const Json::type_error &) {
      return invalidArgument("names: must be UTF-8");
    }
  });
}

Result<TransformsFile> fromJson(std::string_view text) {
  return guarded([&]() -> Result<TransformsFile> {
    try {
      const Json document = Json::parse(text.begin(), text.end(), [](int depth, Json::parse_event_t, const Json &) {
        if (depth > kDeepest) throw Unfit{"nests deeper than transforms do"};
        return true;
      });
      TransformsFile result = readDocument({document, ""});
      if (std::string error = transformsError(result); !error.empty()) return badFile(std::move(error));
      return result;
    } catch (const Unfit &unfit) {
      return badFile(unfit.message);
    } catch (const Json::parse_error &error) {
      return badFile("is no JSON: mistake at " + placeOf(text, error.byte));
    } catch (const Json::out_of_range &) {
      return badFile("holds a number that is too large for a double");
    }
  });
}

} // namespace vindrel
