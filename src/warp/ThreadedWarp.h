// A warp split into horizontal strips, one joinable POSIX thread each.
#pragma once

#include "warp/RowThreads.h"
#include "warp/Warp.h"

namespace vindrel {

// Produces rows 0 to rowCount - 1 of the output, the first one at dst; all work is done on return. See forEachStrip().
void warpOnThreads(const WarpJob &job, int rowCount, int threads, void *dst);

} // namespace vindrel
