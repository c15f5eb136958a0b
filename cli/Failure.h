// How a run of the program ends. Scripts rely on the numbers: they are listed in the help text and never change.
#pragma once

#include <stdexcept>
#include <string>

namespace vindrel::cli {

enum class ExitCode : int {
  Done = 0,           // everything asked for was done, every frame is aligned
  Failed = 1,         // something went wrong that no other code names; also a cancelled run
  Usage = 2,          // the command line asks for something impossible
  NotAligned = 3,     // outputs written, but at least one frame could not be aligned
  Unreadable = 4,     // an input is missing, damaged or of a kind the program does not read
  WouldOverwrite = 5, // an output exists already and --overwrite was not given
};

constexpr const char *kOutOfMemory = "not enough memory; work on smaller photographs, or with fewer threads";

// Ends the run. The text names the file concerned and says what to do; main prints it after the program's name.
class Failure : public std::runtime_error {
public:
  Failure(ExitCode exitCode, const std::string &message) : std::runtime_error(message), code(exitCode) {}
  const ExitCode code;
};

} // namespace vindrel::cli
