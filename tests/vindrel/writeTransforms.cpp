// Writes the transforms of a few estimates, real and made up, for readers.py to look at.
//
// usage: writeTransforms FOLDER
#include "vindrel/Stacks.h"

#include <cstdio>
#include <fstream>
#include <limits>

using namespace vindrel;
using namespace vindrel::test;

namespace {

void write(const std::string &folder, const std::string &name, const TransformsFile &file) {
  saveTransforms(file, folder + "/" + name + ".json").value();
  std::ofstream(folder + "/" + name + ".yml", std::ios::binary) << toOpenCvYaml(file).value();
  std::ofstream(folder + "/" + name + ".npy", std::ios::binary) << toNumpy(file).value();
  std::printf("%s\n", name.c_str());
}

TransformsFile awkward() {
  TransformsFile file{.names = {"a \"b\" \\ c.jpg", "\xC3\xA4.tif", "third"}, .threads = 1024};
  StackEstimate &estimate = file.estimate;
  estimate.frameSize = {65536, 1};
  estimate.common = {-16777216, 7, 65536, 1};
  estimate.frames.resize(3);
  estimate.frames[0].verdict = Verdict::Reference;
  estimate.frames[1].frameFromReference = {{1, 0.1, -1e20, 3e-300, 2, 123456789.123456789, 1e-7, -2.5e-9, 1}};
  estimate.frames[1].expectedError = std::numeric_limits<double>::infinity();
  estimate.frames[1].reason = "too few points agree";
  estimate.frames[1].dropped = true;
  estimate.frames[2].verdict = Verdict::Found;
  estimate.frames[2].frameFromReference = {{1.0 / 3, 0, 5, 0, 2.0 / 3, -6, 0, 0, 1}};
  return file;
}

} // namespace

int main(int count, char **arguments) {
  if (count != 2) return 2;
  const std::string folder = arguments[1];
  const StackBlock stack = makeStack({400, 320}, {.frames = 3, .evStep = 0.5, .motion = Motion::Affine, .seed = 4});
  for (const auto &[model, name] : {std::pair{Model::Shift, "shift"},
                                    {Model::Affine, "affine"},
                                    {Model::Perspective, "perspective"},
                                    {Model::Auto, "auto"}}) {
    const StackEstimate estimate =
        estimateStack(framesOf(stack), {.model = model, .maxShiftX = 40, .maxShiftY = 40}).value();
    write(folder, name, {.estimate = estimate, .names = {"a", "b", "c"}});
  }
  write(folder, "awkward", awkward());
}
