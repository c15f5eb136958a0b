#include "Cases.h"

#include "simulate/RandomBits.h"

#include <algorithm>
#include <filesystem>

namespace vindrel::accuracy {
namespace {

// Photographs of Debian's lomiri-wallpapers-16.04: landscapes, woods, buildings, a room and a sunset as people bracket
// them, and two hard ones, a mostly empty sky and a meadow mostly out of focus.
constexpr const char *kPhotographs[] = {
    "aitzgorri_by_Aitzol_Berasategi.jpg",     "life_by_Aitzol_Berasategi.jpg",
    "picosdeeuropa_by_Aitzol_Berasategi.jpg", "sunset_by_Aitzol_Berasategi.jpg",
    "friends_by_Aitzol_Berasategi.jpg",       "Wine_by_Jakkub_Mede.jpg",
    "Bridge_by_Sander_Klootwijk.jpg",         "seeding_by_Clements_Engelhardt.jpg",
};
// For the quick run: a detailed one and the sunset.
constexpr const char *kQuickPhotographs[] = {"life_by_Aitzol_Berasategi.jpg", "sunset_by_Aitzol_Berasategi.jpg"};

constexpr Motion kMotions[] = {Motion::Shift, Motion::Affine, Motion::Perspective};

bool wanted(const std::vector<std::string> &allowed, const std::string &value) {
  return allowed.empty() || std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

// A bracket's seed follows from what it is, so that filters do not change the stacks that remain. Both depths share it:
// they differ in quantisation alone.
std::uint64_t caseSeed(std::uint64_t seed, const std::string &name, int frames, int evStep, Motion motion) {
  std::uint64_t key = mixBits(seed);
  for (const char c : name)
    key = streamKey(key, static_cast<std::uint64_t>(static_cast<unsigned char>(c)));
  key = streamKey(key, static_cast<std::uint64_t>(frames));
  key = streamKey(key, static_cast<std::uint64_t>(evStep));
  return streamKey(key, static_cast<std::uint64_t>(motion));
}

} // namespace

std::string motionName(Motion motion) {
  switch (motion) {
  case Motion::Shift:
    return "shift";
  case Motion::Affine:
    return "affine";
  case Motion::Perspective:
    break;
  }
  return "perspective";
}

std::vector<Case> plannedCases(const Options &options) {
  std::vector<std::string> files = options.photographs;
  if (files.empty() && options.quick)
    for (const char *file : kQuickPhotographs)
      files.push_back(options.photographFolder + "/" + file);
  else if (files.empty())
    for (const char *file : kPhotographs)
      files.push_back(options.photographFolder + "/" + file);

  const std::vector<int> frameCounts = options.quick ? std::vector<int>{3, 5} : std::vector<int>{3, 5, 9};
  const std::vector<int> evSteps = options.quick ? std::vector<int>{2} : std::vector<int>{1, 2};

  std::vector<Case> cases;
  int photograph = 0;
  for (const std::string &file : files) {
    ++photograph;
    const std::string name = std::filesystem::path(file).stem().string();
    int count = 0; // of the frame counts
    for (const int frames : frameCounts) {
      ++count;
      for (const int evStep : evSteps)
        for (const Motion motion : kMotions) {
          // Unless both depths are asked for they take turns, so that each comes with every pair of other properties.
          const bool first16 = (photograph + count + evStep + static_cast<int>(motion)) % 2 == 1;
          for (const SampleDepth depth : {SampleDepth::U8, SampleDepth::U16}) {
            if (!options.bothDepths && first16 != (depth == SampleDepth::U16)) continue;
            if (!wanted(options.onlyFrames, std::to_string(frames)) ||
                !wanted(options.onlyEv, std::to_string(evStep)) || !wanted(options.onlyMotion, motionName(motion)) ||
                !wanted(options.onlyDepth, std::to_string(static_cast<int>(depth))))
              continue;
            if (!options.onlyPhotograph.empty() &&
                std::none_of(options.onlyPhotograph.begin(), options.onlyPhotograph.end(),
                             [&](const std::string &part) { return name.find(part) != std::string::npos; }))
              continue;
            cases.push_back({file,
                             name,
                             {.frames = frames,
                              .evStep = static_cast<double>(evStep),
                              .motion = motion,
                              .seed = caseSeed(options.seed, name, frames, evStep, motion),
                              .depth = depth,
                              .scenePixels = options.megapixels * 1e6}});
          }
        }
    }
  }
  // A photograph that was named must be there: reading it will fail and say so.
  if (options.photographs.empty())
    std::erase_if(cases, [](const Case &c) { return !std::filesystem::exists(c.photograph); });
  return cases;
}

} // namespace vindrel::accuracy
