// A line of the comparison with other libraries, and who fills in which.
#pragma once

#include <string>
#include <vector>

namespace vindrel::bench {

struct PeerRow {
  std::string work, peer;
  double peerSeconds = 0, ourSeconds = 0; // of the pair of runs whose ratio is the median
  double target = 0;                      // least ratio of the two that is aimed at; 0: none
  double bytes = 0;                       // what ours must read and write at the least, where memory bounds it
};

// Each appends its rows, peer and ours on so many threads. They check what they time and throw std::runtime_error when
// an answer is wrong. quick: small pictures and few runs, to see that everything works.
void compareWarp(std::vector<PeerRow> &rows, int threads, bool quick);
void compareFeatures(std::vector<PeerRow> &rows, int threads, bool quick);
void compareShift(std::vector<PeerRow> &rows, int threads, bool quick);
void compareStack(std::vector<PeerRow> &rows, int threads, bool quick);
void compareStraighten(std::vector<PeerRow> &rows, int threads, bool quick);

} // namespace vindrel::bench
