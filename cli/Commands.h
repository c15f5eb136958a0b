// The program is a table of commands. A command declares its options to the parser and hands back what runs once they
// are known; main knows nothing else about it.
#pragma once

#include "Failure.h"

#include <functional>

namespace CLI {
class App;
}

namespace vindrel::cli {

// Ends with how it went, or throws a Failure.
using Run = std::function<ExitCode()>;

struct Command {
  const char *name;
  const char *summary;
  Run (*declare)(CLI::App &options);
};

Run declareAlign(CLI::App &options);
Run declareApply(CLI::App &options);
Run declareInfo(CLI::App &options);
Run declareSimulate(CLI::App &options);
Run declareStraighten(CLI::App &options);

constexpr Command kCommands[] = {
    {"align", "Align photographs of one scene, whatever their exposures", declareAlign},
    {"apply", "Move further images by transforms that align has saved", declareApply},
    {"info", "Print what files hold: size, depth, exposure, orientation, profile", declareInfo},
    {"simulate", "Make a hand-held bracket with known truth out of one photograph", declareSimulate},
    {"straighten", "Make converging lines parallel, turn and crop one photograph", declareStraighten},
};

} // namespace vindrel::cli
