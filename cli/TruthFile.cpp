#include "TruthFile.h"

#include "Failure.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>

namespace vindrel::cli {
namespace {

constexpr const char *kFormat = "vindrel-truth";
constexpr int kVersion = 1;

[[noreturn]] void failToRead(const std::filesystem::path &path, const std::string &why) {
  throw Failure(ExitCode::Unreadable, path.string() + ": " + why);
}

TruthFrame frameFromJson(const nlohmann::json &json) {
  TruthFrame frame;
  frame.file = json.at("file").get<std::string>();
  frame.ev = json.value("ev", 0.0);
  const nlohmann::json &matrix = json.at("frameFromScene");
  if (!matrix.is_array() || matrix.size() != frame.frameFromScene.size()) {
    throw std::runtime_error("frameFromScene of \"" + frame.file + "\" is not an array of 9 numbers");
  }
  frame.frameFromScene = matrix.get<PlaneMap>();
  const PlaneMap back = inverse(frame.frameFromScene);
  if (!std::all_of(back.begin(), back.end(), [](double element) { return std::isfinite(element); })) {
    throw std::runtime_error("frameFromScene of \"" + frame.file + "\" has no inverse");
  }
  return frame;
}

TruthFile truthFromJson(const nlohmann::json &json) {
  if (!json.is_object() || json.value("format", std::string()) != kFormat) {
    throw std::runtime_error(std::string("is not a ") + kFormat + " file");
  }
  if (json.at("version").get<int>() != kVersion) {
    throw std::runtime_error("is of version " + json.at("version").dump() + "; this program reads version " +
                             std::to_string(kVersion));
  }
  TruthFile truth;
  truth.frameSize = {json.at("width").get<int>(), json.at("height").get<int>()};
  truth.photo = json.value("photo", std::string());
  truth.motion = json.value("motion", std::string());
  truth.seed = json.value("seed", std::uint64_t{0});
  truth.evStep = json.value("evStep", 0.0);
  truth.depth = json.value("depth", 8);
  for (const nlohmann::json &frame : json.at("frames"))
    truth.frames.push_back(frameFromJson(frame));
  return truth;
}

} // namespace

const TruthFrame *TruthFile::find(const std::filesystem::path &photoPath) const {
  const std::string name = photoPath.filename().string();
  for (const TruthFrame &frame : frames) {
    if (frame.file == name) return &frame;
  }
  return nullptr;
}

TruthFile readTruth(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file || !std::filesystem::is_regular_file(path))
    failToRead(path, "cannot be opened; --truth takes a truth.json");
  try {
    return truthFromJson(nlohmann::json::parse(file));
  } catch (const nlohmann::json::parse_error &error) {
    failToRead(path, "is not valid JSON, at byte " + std::to_string(error.byte));
  } catch (const std::exception &error) {
    failToRead(path, error.what());
  }
}

std::string toJson(const TruthFile &truth) {
  nlohmann::ordered_json json;
  json["format"] = kFormat;
  json["version"] = kVersion;
  json["width"] = truth.frameSize.width;
  json["height"] = truth.frameSize.height;
  json["photo"] = truth.photo;
  json["motion"] = truth.motion;
  json["seed"] = truth.seed;
  json["evStep"] = truth.evStep;
  json["depth"] = truth.depth;
  json["frames"] = nlohmann::ordered_json::array();
  for (const TruthFrame &frame : truth.frames) {
    json["frames"].push_back({{"file", frame.file}, {"ev", frame.ev}, {"frameFromScene", frame.frameFromScene}});
  }
  // A photograph's file name need not be UTF-8: what is not is shown as the replacement character.
  return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

} // namespace vindrel::cli
