// One fault of each kind that the sanitizer presets are there for. The argument names the fault; None does the same
// work without any.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <omp.h>

namespace {

void leak(bool fault) {
  void *volatile block = std::malloc(100);
  if (!fault) std::free(block);
  block = nullptr;
}

int readPastTheEnd(bool fault) {
  const auto block = static_cast<char *>(std::calloc(8, 1));
  const volatile int index = fault ? 8 : 7;
  const int value = block[index];
  std::free(block);
  return value;
}

int floatBeyondInt(bool fault) {
  const volatile float value = fault ? 3e9f : 3e8f;
  return static_cast<int>(value);
}

// Teams that meet at barriers and in a critical section, with the results read after the join: synchronisation that the
// sanitizer has to understand. The fault is a count kept outside the critical section.
int raceInAnOpenMpTeam(bool fault) {
  int squares[1000] = {};
  int count = 0;
  for (int round = 0; round < 20; ++round) {
#pragma omp parallel num_threads(4)
    {
#pragma omp for
      for (int i = 0; i < 1000; ++i)
        squares[i] = i * i;
#pragma omp for schedule(dynamic)
      for (int i = 0; i < 1000; ++i)
        squares[i] -= i;
#pragma omp barrier
#pragma omp critical(sanitizers_count)
      ++count;
      if (fault) ++count;
    }
    squares[round] = count;
  }
  return squares[19];
}

} // namespace

int main(int argc, char **argv) {
  const char *wanted = argc > 1 ? argv[1] : "None";
  const auto is = [wanted](const char *name) { return std::strcmp(wanted, name) == 0; };
  leak(is("Leak"));
  int sum = readPastTheEnd(is("ReadPastTheEnd"));
  sum += floatBeyondInt(is("FloatBeyondInt"));
  sum += raceInAnOpenMpTeam(is("RaceInAnOpenMpTeam"));
  std::printf("%s: %d\n", wanted, sum);
  return 0;
}
