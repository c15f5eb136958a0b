// The comparison as a Markdown table and as JSON.
#pragma once

#include "PeerRow.h"

#include <string>
#include <vector>

namespace vindrel::bench {

struct ThreadRows {
  int threads = 1;
  double bandwidth = 0; // bytes a second that so many threads copy, read and written
  std::vector<PeerRow> rows;
};

void printTable(const std::vector<ThreadRows> &runs);

// False when the file cannot be written.
bool writeJson(const std::string &file, bool quick, const std::vector<ThreadRows> &runs);

} // namespace vindrel::bench
