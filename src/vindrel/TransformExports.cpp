// Transforms for other programs to read: OpenCV's FileStorage and NumPy's array file.
#include "vindrel/Guard.h"
#include "vindrel/TransformsCheck.h"
#include "vindrel/transforms_file.hpp"
#include "vindrel/version.hpp"

#include <bit>
#include <charconv>
#include <cstring>

namespace vindrel {
namespace {

constexpr const char *kModels[] = {"shift", "affine", "perspective"};
constexpr const char *kVerdicts[] = {"reference", "found", "notFound"};

// The shortest text that comes back to the same double, with a point, by which FileStorage tells reals from integers.
std::string realText(double value) {
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  const std::string_view digits(text, static_cast<std::size_t>(end - text));
  if (digits.find('.') != std::string_view::npos) return std::string(digits);
  const std::string_view whole = digits.substr(0, digits.find('e'));
  return std::string(whole).append(".").append(digits.substr(whole.size()));
}

std::string quoted(const std::string &text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    if (c == '\n') {
      result += "\\n";
    } else {
      result += c;
    }
  }
  return result + "\"";
}

std::string matrixText(const Transform &transform, const std::string &indent) {
  std::string text =
      "!!opencv-matrix\n" + indent + "rows: 3\n" + indent + "cols: 3\n" + indent + "dt: d\n" + indent + "data: [ ";
  for (std::size_t i = 0; i < transform.matrix.size(); ++i) {
    if (i > 0) text += i % 3 == 0 ? ",\n" + indent + "   " : ", ";
    text += realText(transform.matrix[i]);
  }
  return text + " ]\n";
}

} // namespace

Result<std::string> toOpenCvYaml(const TransformsFile &transforms) {
  return guarded([&]() -> Result<std::string> {
    if (std::string error = transformsError(transforms); !error.empty()) return invalidArgument(std::move(error));
    const StackEstimate &estimate = transforms.estimate;
    const auto number = [](int value) { return std::to_string(value); };
    std::string text = "%YAML:1.0\n---\n";
    text += "library: " + quoted(version()) + "\n";
    text += "model: " + quoted(kModels[static_cast<int>(estimate.model)]) + "\n";
    text += "direction: \"frameFromReference\"\n";
    text += "reference: " + number(estimate.reference) + "\n";
    text += "frameSize: [ " + number(estimate.frameSize.width) + ", " + number(estimate.frameSize.height) + " ]\n";
    text += "crop: [ " + number(estimate.common.x) + ", " + number(estimate.common.y) + ", " +
            number(estimate.common.width) + ", " + number(estimate.common.height) + " ]\n";
    text += "frames:\n";
    for (std::size_t i = 0; i < estimate.frames.size(); ++i) {
      const FrameEstimate &frame = estimate.frames[i];
      text += "   -\n";
      text += "      name: " + quoted(transforms.names[i]) + "\n";
      text += "      verdict: " + quoted(kVerdicts[static_cast<int>(frame.verdict)]) + "\n";
      text += "      matrix: " + matrixText(frame.frameFromReference, "         ");
    }
    return text;
  });
}

Result<std::string> toNumpy(const TransformsFile &transforms) {
  static_assert(std::endian::native == std::endian::little && sizeof(double) == 8);
  return guarded([&]() -> Result<std::string> {
    if (std::string error = transformsError(transforms); !error.empty()) return invalidArgument(std::move(error));
    const auto &frames = transforms.estimate.frames;
    std::string header =
        "{'descr': '<f8', 'fortran_order': False, 'shape': (" + std::to_string(frames.size()) + ", 3, 3), }";
    // Magic, version and the header's length take ten bytes; the data starts at a multiple of 64.
    constexpr std::size_t kPreamble = 10, kAlignment = 64;
    header.append(kAlignment - 1 - (kPreamble + header.size()) % kAlignment, ' ');
    header += '\n';
    std::string bytes("\x93NUMPY\x01\x00", 8);
    bytes += static_cast<char>(header.size() & 0xFF);
    bytes += static_cast<char>(header.size() >> 8);
    bytes += header;
    for (const FrameEstimate &frame : frames) {
      const auto &m = frame.frameFromReference.matrix;
      const std::size_t end = bytes.size();
      bytes.resize(end + sizeof m);
      std::memcpy(bytes.data() + end, m.data(), sizeof m);
    }
    return bytes;
  });
}

} // namespace vindrel
