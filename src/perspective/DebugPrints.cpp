#include "perspective/DebugPrints.h"

namespace vindrel {

int printMatrix(std::FILE *out, const double *m) {
  int last = EOF;
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column)
      std::fprintf(out, "%12.8lf  ", m[3 * row + column]);
    last = std::fputc('\n', out);
  }
  return last;
}

int appendCross(const char *fileName, int d, double x, double y, float z) {
  std::FILE *file = std::fopen(fileName, "a");
  if (file == nullptr) return EOF;
  const double height = static_cast<double>(z);
  std::fprintf(file, "%lf %lf %f\n%lf %lf %f\n\n%lf %lf %f\n%lf %lf %f\n\n", x - d, y - d, height, x + d, y + d, height,
               x + d, y - d, height, x - d, y + d, height);
  return std::fclose(file);
}

} // namespace vindrel
