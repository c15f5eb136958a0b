#include "Options.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace vindrel::accuracy {
namespace {

constexpr const char *kHelp =
    R"(bench_accuracy: places the frames of simulated brackets and prints how far off each method is.

  --quick               a small subset of small stacks, under a minute
  --megapixels M        reduce the photographs to at most M megapixels (default 2.5; 1.2 with --quick)
  --full-size           do not reduce the photographs
  --both-depths         every bracket with 8 and with 16 bits (default: they take turns)
  --only KEY=V[,V...]   only stacks with photo (part of the name), motion (shift, affine, perspective), frames, ev or
                        depth of the given values, or only methods with the given parts of names
  --ecc-full            let ECC go on to the full resolution, which takes it several times as long
  --photo FILE          measure on this photograph; may be repeated
  --photos DIR          where the chosen photographs are (default /usr/share/backgrounds)
  --seed S              seed of motion and noise (default 1)
  --jobs N              stacks at a time, one thread each (default 2)
  --json FILE           write every figure and every frame there
  --check               exit with 1 unless the results are sane
)";

constexpr double kDefaultQuickMegapixels = 1.2;

template <class Number>
bool parseNumber(std::string_view text, Number low, Number high, Number *number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
  return error == std::errc() && end == text.data() + text.size() && *number >= low && *number <= high;
}

std::vector<std::string> split(std::string_view list) {
  std::vector<std::string> parts;
  while (true) {
    const std::size_t comma = list.find(',');
    parts.emplace_back(list.substr(0, comma));
    if (comma == std::string_view::npos) return parts;
    list.remove_prefix(comma + 1);
  }
}

bool parseFilter(std::string_view filter, Options *options) {
  const std::size_t equals = filter.find('=');
  if (equals == std::string_view::npos) return false;
  const std::string_view key = filter.substr(0, equals);
  std::vector<std::string> *target = key == "photo"    ? &options->onlyPhotograph
                                     : key == "motion" ? &options->onlyMotion
                                     : key == "frames" ? &options->onlyFrames
                                     : key == "ev"     ? &options->onlyEv
                                     : key == "depth"  ? &options->onlyDepth
                                     : key == "method" ? &options->onlyMethod
                                                       : nullptr;
  if (target == nullptr) return false;
  for (std::string &value : split(filter.substr(equals + 1)))
    target->push_back(std::move(value));
  return true;
}

} // namespace

std::optional<Options> parseOptions(int argc, char **argv, int *exitCode) {
  Options options;
  bool megapixelsGiven = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view name = argv[i];
    if (name == "--help" || name == "-h") {
      std::fputs(kHelp, stdout);
      *exitCode = 0;
      return std::nullopt;
    }
    bool good = true;
    if (name == "--quick") {
      options.quick = true;
    } else if (name == "--both-depths") {
      options.bothDepths = true;
    } else if (name == "--ecc-full") {
      options.fullEcc = true;
    } else if (name == "--check") {
      options.check = true;
    } else if (name == "--full-size") {
      options.megapixels = 0;
      megapixelsGiven = true;
    } else if (i + 1 >= argc) {
      good = false; // the remaining ones take a value
    } else {
      const std::string_view value = argv[++i];
      if (name == "--megapixels") {
        good = parseNumber(value, 0.05, 1000.0, &options.megapixels);
        megapixelsGiven = true;
      } else if (name == "--jobs") {
        good = parseNumber(value, 1, 1024, &options.jobs);
      } else if (name == "--seed") {
        good = parseNumber(value, std::uint64_t{0}, ~std::uint64_t{0}, &options.seed);
      } else if (name == "--json") {
        options.jsonFile = value;
      } else if (name == "--photo") {
        options.photographs.emplace_back(value);
      } else if (name == "--photos") {
        options.photographFolder = value;
      } else if (name == "--only") {
        good = parseFilter(value, &options);
      } else {
        good = false;
      }
    }
    if (!good) {
      std::fprintf(stderr, "bench_accuracy: cannot use \"%s\"; --help lists the options\n", argv[i]);
      *exitCode = 2;
      return std::nullopt;
    }
  }
  if (options.quick && !megapixelsGiven) options.megapixels = kDefaultQuickMegapixels;
  return options;
}

} // namespace vindrel::accuracy
