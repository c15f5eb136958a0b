#include "ProgramMain.h"

#include "Cancel.h"
#include "Commands.h"
#include "Failure.h"
#include "Report.h"
#include "vindrel/version.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace vindrel::cli {
namespace {

constexpr const char *kDescription = "vindrel: registers photographs of one scene, pixel for pixel";

constexpr const char *kExitCodes = R"(Exit codes:
  0  done, every frame is aligned
  1  failed or cancelled; no half-written output is left behind
  2  the command line, or the set of photographs, cannot be worked with
  3  done, but at least one frame could not be aligned
  4  an input is missing, damaged or of a kind that is not read
  5  an output exists already and --overwrite was not given

`vindrel COMMAND --help` describes a command.)";

int exitWith(ExitCode code) {
  return static_cast<int>(code);
}

bool isCommand(std::string_view name) {
  return std::any_of(std::begin(kCommands), std::end(kCommands),
                     [name](const Command &command) { return name == command.name; });
}

// `vindrel` or, where the mistake was made among a command's options, `vindrel COMMAND`.
ExitCode refuse(const std::string &why, const std::string &program) {
  message(why + "; `" + program + " --help` says what it takes");
  return ExitCode::Usage;
}

int runProgram(int argc, const char *const *argv) {
  CLI::App app(kDescription, "vindrel");
  app.set_version_flag("--version", std::string("vindrel ") + version(), "Print the version and exit");
  app.footer(kExitCodes);
  app.require_subcommand(1);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  std::vector<std::pair<CLI::App *, Run>> commands;
  for (const Command &command : kCommands) {
    CLI::App *options = app.add_subcommand(command.name, command.summary)->group("Commands");
    commands.emplace_back(options, command.declare(*options));
  }
  if (argc < 2) {
    message("what shall be done?");
    std::fprintf(stderr, "%s", app.help().c_str());
    return exitWith(ExitCode::Usage);
  }
  if (argv[1][0] != '-' && !isCommand(argv[1])) {
    message(std::string(argv[1]) + ": no such command; `vindrel --help` lists them");
    return exitWith(ExitCode::Usage);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    // Help and version are asked for and go to standard output; everything else explains a mistake.
    if (error.get_exit_code() == 0) return app.exit(error);
    if (!isCommand(argv[1])) return exitWith(refuse(std::string(argv[1]) + ": no such option", "vindrel"));
    return exitWith(refuse(error.what(), std::string("vindrel ") + argv[1]));
  }
  for (const auto &[options, run] : commands) {
    if (options->parsed()) return exitWith(run());
  }
  return exitWith(ExitCode::Usage);
}

} // namespace

int programMain(int argc, const char *const *argv) {
  try {
    installCancelHandlers();
    const int code = runProgram(argc, argv);
    flushResults();
    return code;
  } catch (const Failure &failure) {
    message(failure.what());
    return exitWith(failure.code);
  } catch (const std::bad_alloc &) {
    message(kOutOfMemory);
  } catch (const std::exception &error) {
    message(std::string("unexpected failure: ") + error.what());
  }
  return exitWith(ExitCode::Failed);
}

} // namespace vindrel::cli
