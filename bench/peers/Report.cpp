#include "Report.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <fstream>

namespace vindrel::bench {
namespace {

double ratioOf(const PeerRow &row) {
  return row.peerSeconds / row.ourSeconds;
}

// How many times as long ours took as the memory needs for the bytes.
double timesMemory(const PeerRow &row, double bandwidth) {
  return row.ourSeconds * bandwidth / row.bytes;
}

const char *verdict(const PeerRow &row) {
  return row.target <= 0 ? "" : ratioOf(row) >= row.target ? "yes" : "no";
}

std::string fixed(double value, int digits) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

} // namespace

void printTable(const std::vector<ThreadRows> &runs) {
  for (const ThreadRows &run : runs)
    std::printf("Memory copied by %d thread%s: %.1f GB/s, read and written.\n", run.threads,
                run.threads == 1 ? "" : "s", run.bandwidth / 1e9);
  std::printf("Both sides by turns, the pair of runs with the median ratio. One thread: the processor's time; more: "
              "the clock's.\n"
              "x memory: ours, over what the memory takes for the bytes that must be read and written.\n");
  std::printf("\n| work | peer | threads | peer, s | ours, s | ratio | target | met | x memory |\n"
              "|---|---|---|---|---|---|---|---|---|\n");
  for (const ThreadRows &run : runs)
    for (const PeerRow &row : run.rows)
      std::printf("| %s | %s | %d | %.4f | %.4f | %.2f | %s | %s | %s |\n", row.work.c_str(), row.peer.c_str(),
                  run.threads, row.peerSeconds, row.ourSeconds, ratioOf(row),
                  row.target > 0 ? fixed(row.target, 2).c_str() : "", verdict(row),
                  row.bytes > 0 ? fixed(timesMemory(row, run.bandwidth), 1).c_str() : "");
}

bool writeJson(const std::string &file, bool quick, const std::vector<ThreadRows> &runs) {
  nlohmann::ordered_json all = {{"quick", quick}, {"runs", nlohmann::ordered_json::array()}};
  for (const ThreadRows &run : runs) {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const PeerRow &row : run.rows) {
      nlohmann::ordered_json entry = {{"work", row.work},
                                      {"peer", row.peer},
                                      {"peerSeconds", row.peerSeconds},
                                      {"ourSeconds", row.ourSeconds},
                                      {"ratio", ratioOf(row)}};
      if (row.target > 0) entry["target"] = row.target;
      if (row.bytes > 0) entry["timesMemory"] = timesMemory(row, run.bandwidth);
      rows.push_back(std::move(entry));
    }
    all["runs"].push_back({{"threads", run.threads}, {"copyBytesPerSecond", run.bandwidth}, {"rows", rows}});
  }
  std::ofstream out(file);
  out << all.dump(2) << '\n';
  return static_cast<bool>(out.flush());
}

} // namespace vindrel::bench
