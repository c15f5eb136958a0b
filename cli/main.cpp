// vindrel: aligns photographs on the command line. Results go to standard output, messages and progress to standard
// error; how a run ended is its exit code.
#include "ProgramMain.h"

int main(int argc, char **argv) {
  return vindrel::cli::programMain(argc, argv);
}
