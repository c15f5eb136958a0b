// A warp split into horizontal strips, one joinable POSIX thread each.
#pragma once

#include "warp/Warp.h"

namespace vindrel {

// The strip of a frame of rowCount rows that thread `thread` of `threads` produces: rowCount / threads rows each, the
// last thread takes what is left over.
RowBand stripRows(int rowCount, int thread, int threads);

// Produces rows 0 to rowCount - 1 of the output, the first one at dst; all work is done on return. Below two threads
// the calling thread does it alone. A strip whose thread cannot be started, or all of them when there is no memory for
// their records, is produced by the calling thread: there is no failure to report.
void warpOnThreads(const WarpJob &job, int rowCount, int threads, void *dst);

} // namespace vindrel
