// How fast this machine's memory copies: what work that touches every pixel once or twice can come close to.
#pragma once

namespace vindrel::bench {

// Bytes read plus bytes written a second, by so many threads at a time, of blocks far larger than the caches: the best
// of several copies, as in J. McCalpin's STREAM.
double copyBandwidth(int threads);

} // namespace vindrel::bench
