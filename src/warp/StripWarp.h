// The warp calls of the flat interface, whose row numbers, results and recovery are published behaviour. Inside the
// library warpOnThreads() is the one to use.
#pragma once

#include "warp/Warp.h"

namespace vindrel {

// Produces the band and returns rows.end; of an empty band, writes nothing and returns rows.begin.
int warpCallersBand(const WarpJob &job, RowBand rows, void *dst);

// Below two threads: warpCallersBand(). Otherwise rows 0 to rows.end - rows.begin - 1 of the output frame, in strips
// numbered from row 0 whatever rows.begin is, and the result is that of the last strip: the number of rows.
//
// When a thread cannot be started (or there is no memory for the records of all), the calling thread produces the
// whole band under the band's own row numbers. If that returns other than 0 it is the result, at once: threads already
// started are left running, still reading the source and writing their strips of dst. Otherwise they are joined and
// the result is that of the last strip, which never ran: 0.
int warpInStrips(const WarpJob &job, RowBand rows, int threads, void *dst);

} // namespace vindrel
