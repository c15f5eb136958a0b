// Transforms on disk: what an estimate found, to be used again on another bracket, another channel or a mask.
//
// The file is JSON, described by docs/transforms.md and by the schema that is installed as
// share/vindrel/transforms.schema.json. Numbers come back to the last bit.
#pragma once

#include "vindrel/api.hpp"
#include "vindrel/result.hpp"
#include "vindrel/stack.hpp"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vindrel {

/// What a file holds.
struct TransformsFile {
  StackEstimate estimate = {};         ///< as estimateStack() gave it
  std::vector<std::string> names = {}; ///< of the images, one for each frame, UTF-8; may be empty strings
  int threads = 1;                     ///< that the estimate was made on
  std::string libraryVersion = {};     ///< that wrote the file; set by reading, ignored by writing
};

/// The text of the file. ErrorCode::InvalidArgument when the estimate does not fit together, as one with no frame, with
/// fewer names than frames or with elements that are no numbers.
VINDREL_API Result<std::string> toJson(const TransformsFile &transforms);

/// ErrorCode::BadFile, with the place and what is wrong there, for everything that is not such a text: no JSON, another
/// format, a version that this library does not know, fields that are missing or do not fit together. Fields that are
/// not known are passed over.
VINDREL_API Result<TransformsFile> fromJson(std::string_view text);

/// Writes the file, replacing what is there only once all is written. Errors of toJson(); ErrorCode::FileSystem names
/// the file.
VINDREL_API Result<void> saveTransforms(const TransformsFile &transforms, const std::filesystem::path &file);

/// Errors of fromJson(), and ErrorCode::FileSystem, name the file.
VINDREL_API Result<TransformsFile> loadTransforms(const std::filesystem::path &file);

/// The same as a file of OpenCV's FileStorage in YAML: names, verdicts and 3 x 3 matrices of doubles, which map the
/// reference onto each frame, as cv::warpPerspective() takes them with cv::WARP_INVERSE_MAP.
VINDREL_API Result<std::string> toOpenCvYaml(const TransformsFile &transforms);

/// The matrices alone as the bytes of a NumPy file (.npy, version 1.0): shape (frames, 3, 3), little-endian doubles.
VINDREL_API Result<std::string> toNumpy(const TransformsFile &transforms);

} // namespace vindrel
