// Work on the rows of a frame, split into horizontal strips with a joinable POSIX thread each.
#pragma once

#include "warp/Warp.h"

namespace vindrel {

// The strip of a frame of rowCount rows that thread `thread` of `threads` produces: rowCount / threads rows each, the
// last thread takes what is left over.
RowBand stripRows(int rowCount, int thread, int threads);

// Calls work(job, band) for bands that together are rows 0 to rowCount - 1, and returns when all are done. Below two
// threads the calling thread does it alone. A strip whose thread cannot be started, or all of them when there is no
// memory for their records, is done by the calling thread: there is no failure to report. work must not throw.
void forEachStrip(int rowCount, int threads, void (*work)(const void *job, RowBand rows), const void *job);

} // namespace vindrel
