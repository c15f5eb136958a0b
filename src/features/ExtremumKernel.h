// Which responses stand out among their neighbours in position and filter size.
#pragma once

#include "features/ResponseRows.h"

#include <cstdint>

namespace vindrel {

// Responses nearer to zero than this are noise.
constexpr float kLeastResponse = 10000.0f;

// Sets marks[x] for x = begin .. end - 1 to 1 where the response at (x, the middle row) of the size-15 map is either at
// least kLeastResponse and strictly greater, or at most -kLeastResponse and strictly smaller, than all 26 neighbours:
// the 8 around it and the 9 at the same positions in each of the other two maps; to 0 elsewhere. Reads columns
// begin - 1 .. end.
void markExtrema(const ResponseNeighbourhood &rows, int begin, int end, std::uint8_t *marks);

} // namespace vindrel
